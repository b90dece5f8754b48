#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

namespace corvane {

/// A window for people to look at.
struct Picture {
  const char* name;                ///< of its files, without what tells how it was taken
  std::function<QWidget*()> open;  ///< shows it; it is taken once it is painted, and then closed
};

/// What main() of a program does that takes pictures: `PROGRAM FOLDER [NAME]...` writes NAME.png, NAME-dark.png and so
/// on for each window, or for those named, taken from real widgets without a display. To look at other widgets add them
/// to the table of such a program; to take them in other ways, to the one in Pictures.cpp. `catalogue` is the
/// application's, if it has one.
int takePictures(int argc, char** argv, const std::vector<Picture>& pictures, const std::string& catalogue = {});

}  // namespace corvane
