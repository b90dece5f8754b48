#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

inline constexpr std::string_view DEVICES_HELP =
    "  CLASS         only devices of this class and what they are attached to: a subsystem (block,\n"
    "                net, usb), a type (disk, usb_device), a driver (ahci), IOMedia for disks and\n"
    "                partitions, IODisplayConnect for displays\n"
    "  --properties  show their properties\n"
    "  --json        print one JSON object for each device, with its properties\n";

/// The devices command: lists devices as a tree.
int devices(const Arguments& arguments);

}  // namespace corvane::inspector
