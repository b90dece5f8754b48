#pragma once

#include <string_view>

namespace corvane {

/// A name for a type of partition that PartitionType does not describe itself: an upper-case GUID, or the type of an
/// MBR table as "0X8E". Empty if it is unknown.
std::string_view partitionName(std::string_view type);

}  // namespace corvane
