# What the libraries are linked with beside Qt: for their own build, and for programs that link them as static libraries.

include_guard()
find_package(PkgConfig REQUIRED)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl>=7.87)
pkg_check_modules(CRYPTO REQUIRED IMPORTED_TARGET libcrypto>=3.0)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(FONTCONFIG REQUIRED IMPORTED_TARGET fontconfig)
pkg_check_modules(UDEV REQUIRED IMPORTED_TARGET libudev)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-screensaver)
pkg_check_modules(XCB_RES REQUIRED IMPORTED_TARGET xcb xcb-res)
# The user interface's.
pkg_check_modules(XCB_RANDR QUIET IMPORTED_TARGET xcb xcb-randr)
pkg_check_modules(PNG QUIET IMPORTED_TARGET libpng)
