#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/Disks.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The kind of a disk's table or of a partition: "Linux Filesystem"; "-" if unknown.
std::string typeOf(const DiskRow& row);
/// Where it is mounted, with commas in between; "-" if nowhere.
std::string mountsOf(const DiskRow& row);
/// The names, with the lines of a tree before them. Printable.
std::vector<std::string> treeNames(const std::vector<DiskRow>& rows, const Glyphs& glyphs);

/// Disks as a human-readable table with a line of titles and, if a width is given, no wider than that.
std::string diskTable(const std::vector<DiskRow>& rows, const Glyphs& glyphs, std::optional<std::size_t> width);

/// A disk as a JSON object in one line, without a line end. Unknown values are null.
std::string diskObject(const DiskRow& row);

/// What a request has led to, for the user: "Mounted /dev/sda1 at /media/user/DATA", or the failure and its reason.
/// Printable.
std::string outcomeText(const DiskRequest& request, const DiskOutcome& outcome, const Glyphs& glyphs);

}  // namespace corvane::inspector
