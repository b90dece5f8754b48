#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Bytes of an open regular file, at most 16 MiB; std::nullopt if there are not so many or they cannot be read.
std::optional<std::string> infoBytes(int file, std::uint64_t offset, std::uint64_t length);

/// The size of an open regular file; an Error for anything else.
Result<std::uint64_t> regularSize(int file);

/// The information dictionary that an executable contains: the bytes of the section .info_plist of an ELF file with
/// this machine's byte order; std::nullopt if it is another file or has no such section. Reads the open file, at any
/// offset, and nothing beside it. The file may be hostile: everything in it is checked.
CORVANE_API Result<std::optional<std::string>> embeddedInfo(int file);

}  // namespace corvane
