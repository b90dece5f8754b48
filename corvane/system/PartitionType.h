#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// Names for the types of partitions: for the texts that media have under "Content" (see IOObject), which are the
/// upper-case GUIDs of GUID partition tables and older names. Any thread.
///
///     const PartitionType types;
///     types.description("0FC63DAF-8483-4772-8E79-3D69D8477DE4");  // "Linux Filesystem"
///     types.typeName("0x8e");                                     // "Linux LVM"
class CORVANE_API PartitionType {
 public:
  PartitionType();

  /// The identifiers of types, as partition tables hold them.
  static constexpr std::string_view contentAppleAPFS() { return "7C3457EF-0000-11AA-AA11-00306543ECAC"; }
  static constexpr std::string_view contentAppleBOOT() { return "426F6F74-0000-11AA-AA11-00306543ECAC"; }
  static constexpr std::string_view contentEFISystem() { return "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"; }
  static constexpr std::string_view contentHFS() { return "48465300-0000-11AA-AA11-00306543ECAC"; }
  static constexpr std::string_view contentLinuxData() { return "0FC63DAF-8483-4772-8E79-3D69D8477DE4"; }
  static constexpr std::string_view contentLinuxSWAP() { return "0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"; }
  static constexpr std::string_view contentMSBasicData() { return "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"; }
  static constexpr std::string_view contentMSReserved() { return "E3C9E316-0B5C-4DB8-817D-F92DF00215AE"; }
  static constexpr std::string_view contentWindowsNTFS() { return "Windows_NTFS"; }
  static constexpr std::string_view contentWindowsRecovery() { return "DE94BBA4-06D1-4D40-A16A-BFD50179D6AC"; }

  /// A short description of one of the contents above; "Unknown" for any other text, including a GUID in lower case.
  std::string description(std::string_view content) const;

  /// The same, and names for the types that partitions have on machines with Linux beyond these: the GUIDs of operating
  /// systems, of Linux's well-known mount points and of firmware, in either case; the types of MBR tables as "0x8e";
  /// and the two kinds of tables that disks have under "Content". "Unknown" for others.
  std::string typeName(std::string_view content) const;

  /// The names ("BSD Name") of the APFS containers in the partitions of the disk with this number ("BSD Unit"), in the
  /// registry's order. Always empty on Linux, which has no devices for containers.
  std::vector<std::string> apfsContainers(std::int64_t unit) const;

  /// The same for the partition with this name; empty for a whole disk.
  std::vector<std::string> apfsContainers(std::string_view partition) const;

 private:
  std::map<std::string, std::string, std::less<>> m_dict;  // descriptions by content
};

}  // namespace corvane
