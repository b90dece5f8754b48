#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view DISKS_HELP = "  --json  print one JSON object for each disk and partition\n";

inline constexpr std::string_view MOUNT_HELP =
    "NAME is that of a device, such as sda1 or /dev/sda1.\n\n"
    "  --whole  all file systems of the disk that it belongs to\n";

inline constexpr std::string_view UNMOUNT_HELP =
    "NAME is that of a device, such as sda1 or /dev/sda1.\n\n"
    "  --whole  all file systems of the disk that it belongs to\n"
    "  --force  even if it is in use; programs go on using the files that they have open\n";

/// The disks command: lists disks and partitions.
int disks(const Arguments& arguments);

/// The mount and unmount commands, which may ask for an administrator's password through the desktop.
int mount(const Arguments& arguments);
int unmount(const Arguments& arguments);

}  // namespace corvane::inspector
