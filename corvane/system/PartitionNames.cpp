#include "corvane/system/PartitionNames.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <span>
#include <system_error>

namespace corvane {

namespace {

struct GuidName {
  std::string_view guid;
  std::string_view name;
};

// Firmware, Linux, and other operating systems.
constexpr GuidName NAMES[] = {
    {"21686148-6449-6E6F-744E-656564454649", "BIOS Boot"},
    {"9E1A2D38-C612-4316-AA26-8B49521E5A8B", "PowerPC PReP Boot"},
    {"024DEE41-33E7-11D3-9D69-0008C781F39F", "MBR Partition Table"},
    {"D3BFE2DE-3DAF-11DF-BA40-E3A556D89593", "Intel Rapid Start"},
    {"7412F7D5-A156-4B13-81DC-867174929325", "ONIE Boot"},
    {"D4E6E2CD-4469-46F3-B5CB-1BFF57AFC149", "ONIE Configuration"},
    {"F4019732-066E-4E12-8273-346C5641494F", "Sony Boot"},
    {"BFBFAFE7-A34F-448A-9A5B-6213EB736C22", "Lenovo Boot"},
    {"BC13C2FF-59E6-4262-A352-B275FD6F7172", "Linux Extended Boot"},
    {"8DA63339-0007-60C0-C436-083AC8230908", "Linux Reserved"},
    {"933AC7E1-2EB4-4F13-B844-0E14E2AEF915", "Linux Home"},
    {"3B8F8425-20E0-4F3B-907F-1A25A76F98E8", "Linux Server Data"},
    {"4D21B016-B534-45C2-A9FB-5C16E091FD2D", "Linux Variable Data"},
    {"7EC6F557-3BC5-4ACA-B293-16EF5DF639D1", "Linux Temporary Data"},
    {"773F91EF-66D4-49B5-BD83-D683BF40AD16", "Linux Home of a User"},
    {"A19D880F-05FC-4D3B-A006-743F0F84911E", "Linux RAID"},
    {"E6D6D379-F507-44C2-A23C-238F2A3DF928", "Linux LVM"},
    {"5808C8AA-7E8F-42E0-85D2-E1E90434CFB3", "Microsoft Dynamic Disk Metadata"},
    {"AF9B60A0-1431-4F62-BC68-3311714A69AD", "Microsoft Dynamic Disk"},
    {"E75CAF8F-F680-4CEE-AFA3-B001E56EFC2D", "Microsoft Storage Spaces"},
    {"37AFFC90-EF7D-4E96-91C3-2D7AE055B174", "IBM GPFS"},
    {"55465300-0000-11AA-AA11-00306543ECAC", "Apple UFS"},
    {"52414944-0000-11AA-AA11-00306543ECAC", "Apple RAID"},
    {"52414944-5F4F-11AA-AA11-00306543ECAC", "Apple RAID, Offline"},
    {"4C616265-6C00-11AA-AA11-00306543ECAC", "Apple Label"},
    {"53746F72-6167-11AA-AA11-00306543ECAC", "Apple Core Storage"},
    {"69646961-6700-11AA-AA11-00306543ECAC", "Apple Silicon Boot"},
    {"52637672-7900-11AA-AA11-00306543ECAC", "Apple Silicon Recovery"},
    {"5265636F-7665-11AA-AA11-00306543ECAC", "Apple TV Recovery"},
    {"83BD6B9D-7F41-11DC-BE0B-001560B84F0F", "FreeBSD Boot"},
    {"516E7CB4-6ECF-11D6-8FF8-00022D09712B", "FreeBSD Data"},
    {"516E7CB5-6ECF-11D6-8FF8-00022D09712B", "FreeBSD Swap"},
    {"516E7CB6-6ECF-11D6-8FF8-00022D09712B", "FreeBSD UFS"},
    {"516E7CBA-6ECF-11D6-8FF8-00022D09712B", "FreeBSD ZFS"},
    {"516E7CB8-6ECF-11D6-8FF8-00022D09712B", "FreeBSD Vinum"},
    {"49F48D32-B10E-11DC-B99B-0019D1879648", "NetBSD Swap"},
    {"49F48D5A-B10E-11DC-B99B-0019D1879648", "NetBSD FFS"},
    {"49F48D82-B10E-11DC-B99B-0019D1879648", "NetBSD LFS"},
    {"49F48DAA-B10E-11DC-B99B-0019D1879648", "NetBSD RAID"},
    {"2DB519C4-B10F-11DC-B99B-0019D1879648", "NetBSD Concatenated"},
    {"2DB519EC-B10F-11DC-B99B-0019D1879648", "NetBSD Encrypted"},
    {"824CC7A0-36A8-11E3-890A-952519AD3F61", "OpenBSD Data"},
    {"6A82CB45-1DD2-11B2-99A6-080020736631", "Solaris Boot"},
    {"6A85CF4D-1DD2-11B2-99A6-080020736631", "Solaris Root"},
    {"6A87C46F-1DD2-11B2-99A6-080020736631", "Solaris Swap"},
    {"6A898CC3-1DD2-11B2-99A6-080020736631", "ZFS"},
    {"6A8EF2E9-1DD2-11B2-99A6-080020736631", "Solaris /var"},
    {"6A90BA39-1DD2-11B2-99A6-080020736631", "Solaris Home"},
    {"6A945A3B-1DD2-11B2-99A6-080020736631", "Solaris Reserved"},
    {"FE3A2A5D-4F32-41A7-B725-ACCC3285A309", "ChromeOS Kernel"},
    {"3CB8E202-3B7E-47DD-8A3C-7FF2A13CFCEC", "ChromeOS Root"},
    {"2E0A753D-9E48-43B0-8337-B15192CB1B5E", "ChromeOS Reserved"},
    {"4FBD7E29-9D25-41B8-AFD0-062C0CEFF05D", "Ceph OSD"},
    {"4FBD7E29-9D25-41B8-AFD0-5EC00CEFF05D", "Ceph OSD, Encrypted"},
    {"45B0969E-9B03-4F30-B4C6-B4B80CEFF106", "Ceph Journal"},
    {"45B0969E-9B03-4F30-B4C6-5EC00CEFF106", "Ceph Journal, Encrypted"},
    {"AA31E02A-400F-11DB-9590-000C2911D1B8", "VMware VMFS"},
    {"9D275380-40AD-11DB-BF97-000C2911D1B8", "VMware Diagnostics"},
    {"9198EFFC-31C0-11DB-8F78-000C2911D1B8", "VMware Reserved"},
    {"75894C1E-3AEB-11D3-B7C1-7B03A0000000", "HP-UX Data"},
    {"E2A1E728-32E3-11D6-A682-7B03A0000000", "HP-UX Service"},
    {"42465331-3BA3-10F1-802A-4861696B7521", "Haiku BFS"},
    {"C91818F9-8025-47AF-89D2-F030D7000C2C", "Plan 9"},
    {"CEF5A9AD-73BC-4601-89F3-CDEEEEE321A1", "QNX"},
};

// What the Discoverable Partitions Specification defines for each kind of processor. Verity partitions hold the check
// data of another one.
constexpr GuidName DISCOVERABLE[] = {
    {"44479540-F297-41B2-9AF7-D131D5F0458A", "Linux Root (x86)"},
    {"4F68BCE3-E8CD-4DB1-96E7-FBCAF984B709", "Linux Root (x86-64)"},
    {"69DAD710-2CE4-4E3C-B16C-21A1D49ABED3", "Linux Root (ARM, 32 bits)"},
    {"B921B045-1DF0-41C3-AF44-4C6F280D3FAE", "Linux Root (ARM, 64 bits)"},
    {"993D8D3D-F80E-4225-855A-9DAF8ED7EA97", "Linux Root (Itanium)"},
    {"77055800-792C-4F94-B39A-98C91B762BB6", "Linux Root (LoongArch, 64 bits)"},
    {"37C58C8A-D913-4156-A25F-48B1B64E07F0", "Linux Root (MIPS, 32 bits)"},
    {"700BDA43-7A34-4507-B179-EEB93D7A7CA3", "Linux Root (MIPS, 64 bits)"},
    {"C31C45E6-3F39-412E-80FB-4809C4980599", "Linux Root (POWER, 64 bits)"},
    {"60D5A7FE-8E7D-435C-B714-3DD8162144E1", "Linux Root (RISC-V, 32 bits)"},
    {"72EC70A6-CF74-40E6-BD49-4BDA08E8F224", "Linux Root (RISC-V, 64 bits)"},
    {"5EEAD9A9-FE09-4A1E-A1D7-520D00531306", "Linux Root (S/390, 64 bits)"},
    {"75250D76-8CC6-458E-BD66-BD47CC81A812", "Linux /usr (x86)"},
    {"8484680C-9521-48C6-9C11-B0720656F69E", "Linux /usr (x86-64)"},
    {"7D0359A3-02B3-4F0A-865C-654403E70625", "Linux /usr (ARM, 32 bits)"},
    {"B0E01050-EE5F-4390-949A-9101B17104E9", "Linux /usr (ARM, 64 bits)"},
    {"4301D2A6-4E3B-4B2A-BB94-9E0B2C4225EA", "Linux /usr (Itanium)"},
    {"E611C702-575C-4CBE-9A46-434FA0BF7E3F", "Linux /usr (LoongArch, 64 bits)"},
    {"0F4868E9-9952-4706-979F-3ED3A473E947", "Linux /usr (MIPS, 32 bits)"},
    {"C97C1F32-BA06-40B4-9F22-236061B08AA8", "Linux /usr (MIPS, 64 bits)"},
    {"15BB03AF-77E7-4D4A-B12B-C0D084F7491C", "Linux /usr (POWER, 64 bits)"},
    {"B933FB22-5C3F-4F91-AF90-E2BB0FA50702", "Linux /usr (RISC-V, 32 bits)"},
    {"BEAEC34B-8442-439B-A40B-984381ED097D", "Linux /usr (RISC-V, 64 bits)"},
    {"8A4F5770-50AA-4ED3-874A-99B710DB6FEA", "Linux /usr (S/390, 64 bits)"},
    {"D13C5D3B-B5D1-422A-B29F-9454FDC89D76", "Linux Root Verity (x86)"},
    {"2C7357ED-EBD2-46D9-AEC1-23D437EC2BF5", "Linux Root Verity (x86-64)"},
    {"7386CDF2-203C-47A9-A498-F2ECCE45A2D6", "Linux Root Verity (ARM, 32 bits)"},
    {"DF3300CE-D69F-4C92-978C-9BFB0F38D820", "Linux Root Verity (ARM, 64 bits)"},
    {"86ED10D5-B607-45BB-8957-D350F23D0571", "Linux Root Verity (Itanium)"},
    {"F3393B22-E9AF-4613-A948-9D3BFBD0C535", "Linux Root Verity (LoongArch, 64 bits)"},
    {"D7D150D2-2A04-4A33-8F12-16651205FF7B", "Linux Root Verity (MIPS, 32 bits)"},
    {"16B417F8-3E06-4F57-8DD2-9B5232F41AA6", "Linux Root Verity (MIPS, 64 bits)"},
    {"906BD944-4589-4AAE-A4E4-DD983917446A", "Linux Root Verity (POWER, 64 bits)"},
    {"AE0253BE-1167-4007-AC68-43926C14C5DE", "Linux Root Verity (RISC-V, 32 bits)"},
    {"B6ED5582-440B-4209-B8DA-5FF7C419EA3D", "Linux Root Verity (RISC-V, 64 bits)"},
    {"B325BFBE-C7BE-4AB8-8357-139E652D2F6B", "Linux Root Verity (S/390, 64 bits)"},
    {"8F461B0D-14EE-4E81-9AA9-049B6FB97ABD", "Linux /usr Verity (x86)"},
    {"77FF5F63-E7B6-4633-ACF4-1565B864C0E6", "Linux /usr Verity (x86-64)"},
    {"C215D751-7BCD-4649-BE90-6627490A4C05", "Linux /usr Verity (ARM, 32 bits)"},
    {"6E11A4E7-FBCA-4DED-B9E9-E1A512BB664E", "Linux /usr Verity (ARM, 64 bits)"},
    {"6A491E03-3BE7-4545-8E38-83320E0EA880", "Linux /usr Verity (Itanium)"},
    {"F46B2C26-59AE-48F0-9106-C50ED47F673D", "Linux /usr Verity (LoongArch, 64 bits)"},
    {"46B98D8D-B55C-4E8F-AAB3-37FCA7F80752", "Linux /usr Verity (MIPS, 32 bits)"},
    {"3C3D61FE-B5F3-414D-BB71-8739A694A4EF", "Linux /usr Verity (MIPS, 64 bits)"},
    {"EE2B9983-21E8-4153-86D9-B6901A54D1CE", "Linux /usr Verity (POWER, 64 bits)"},
    {"CB1EE4E3-8CD0-4136-A0A4-AA61A32E8730", "Linux /usr Verity (RISC-V, 32 bits)"},
    {"8F1056BE-9B05-47C4-81D6-BE53128E5B54", "Linux /usr Verity (RISC-V, 64 bits)"},
    {"31741CC4-1A2A-4111-A581-E00B447D2D06", "Linux /usr Verity (S/390, 64 bits)"},
    {"5996FC05-109C-48DE-808B-23FA0830B676", "Linux Root Verity Signature (x86)"},
    {"41092B05-9FC8-4523-994F-2DEF0408B176", "Linux Root Verity Signature (x86-64)"},
    {"42B0455F-EB11-491D-98D3-56145BA9D037", "Linux Root Verity Signature (ARM, 32 bits)"},
    {"6DB69DE6-29F4-4758-A7A5-962190F00CE3", "Linux Root Verity Signature (ARM, 64 bits)"},
    {"E98B36EE-32BA-4882-9B12-0CE14655F46A", "Linux Root Verity Signature (Itanium)"},
    {"5AFB67EB-ECC8-4F85-AE8E-AC1E7C50E7D0", "Linux Root Verity Signature (LoongArch, 64 bits)"},
    {"C919CC1F-4456-4EFF-918C-F75E94525CA5", "Linux Root Verity Signature (MIPS, 32 bits)"},
    {"904E58EF-5C65-4A31-9C57-6AF5FC7C5DE7", "Linux Root Verity Signature (MIPS, 64 bits)"},
    {"D4A236E7-E873-4C07-BF1D-BF6CF7F1C3C6", "Linux Root Verity Signature (POWER, 64 bits)"},
    {"3A112A75-8729-4380-B4CF-764D79934448", "Linux Root Verity Signature (RISC-V, 32 bits)"},
    {"EFE0F087-EA8D-4469-821A-4C2A96A8386A", "Linux Root Verity Signature (RISC-V, 64 bits)"},
    {"C80187A5-73A3-491A-901A-017C3FA953E9", "Linux Root Verity Signature (S/390, 64 bits)"},
    {"974A71C0-DE41-43C3-BE5D-5C5CCD1AD2C0", "Linux /usr Verity Signature (x86)"},
    {"E7BB33FB-06CF-4E81-8273-E543B413E2E2", "Linux /usr Verity Signature (x86-64)"},
    {"D7FF812F-37D1-4902-A810-D76BA57B975A", "Linux /usr Verity Signature (ARM, 32 bits)"},
    {"C23CE4FF-44BD-4B00-B2D4-B41B3419E02A", "Linux /usr Verity Signature (ARM, 64 bits)"},
    {"8DE58BC2-2A43-460D-B14E-A76E4A17B47F", "Linux /usr Verity Signature (Itanium)"},
    {"B024F315-D330-444C-8461-44BBDE524E99", "Linux /usr Verity Signature (LoongArch, 64 bits)"},
    {"3E23CA0B-A4BC-4B4E-8087-5AB6A26AA8A9", "Linux /usr Verity Signature (MIPS, 32 bits)"},
    {"F2C2C7EE-ADCC-4351-B5C6-EE9816B66E16", "Linux /usr Verity Signature (MIPS, 64 bits)"},
    {"C8BFBD1E-268E-4521-8BBA-BF314C399557", "Linux /usr Verity Signature (POWER, 64 bits)"},
    {"C3836A13-3137-45BA-B583-B16C50FE5EB4", "Linux /usr Verity Signature (RISC-V, 32 bits)"},
    {"D2F9000A-7A18-453F-B5CD-4D32F77A7B32", "Linux /usr Verity Signature (RISC-V, 64 bits)"},
    {"3F324816-667B-46AE-86EE-9B0C0C6C11B4", "Linux /usr Verity Signature (S/390, 64 bits)"},
};

// The types of MBR tables, as far as they are in use.
constexpr struct {
  std::uint8_t type;
  std::string_view name;
} MBR_NAMES[] = {
    {0x00, "Empty"},
    {0x01, "FAT12"},
    {0x04, "FAT16, Small"},
    {0x05, "Extended"},
    {0x06, "FAT16"},
    {0x0B, "FAT32"},
    {0x0C, "FAT32 (LBA)"},
    {0x0E, "FAT16 (LBA)"},
    {0x0F, "Extended (LBA)"},
    {0x11, "Hidden FAT12"},
    {0x12, "Compaq Diagnostics"},
    {0x14, "Hidden FAT16, Small"},
    {0x16, "Hidden FAT16"},
    {0x17, "Hidden NTFS"},
    {0x1B, "Hidden FAT32"},
    {0x1C, "Hidden FAT32 (LBA)"},
    {0x1E, "Hidden FAT16 (LBA)"},
    {0x39, "Plan 9"},
    {0x3C, "PartitionMagic Recovery"},
    {0x41, "PowerPC PReP Boot"},
    {0x42, "Microsoft Dynamic Disk"},
    {0x63, "GNU Hurd"},
    {0x80, "Old Minix"},
    {0x81, "Minix"},
    {0x84, "Hibernation"},
    {0x85, "Linux Extended"},
    {0x86, "NTFS Volume Set"},
    {0x87, "NTFS Volume Set"},
    {0x88, "Linux Plaintext"},
    {0x8E, "Linux LVM"},
    {0xA0, "Hibernation"},
    {0xA5, "FreeBSD"},
    {0xA6, "OpenBSD"},
    {0xA8, "Apple UFS"},
    {0xA9, "NetBSD"},
    {0xAB, "Apple_Boot"},
    {0xBE, "Solaris Boot"},
    {0xBF, "Solaris"},
    {0xDA, "No File System"},
    {0xDE, "Dell Utility"},
    {0xEA, "Linux Extended Boot"},
    {0xEB, "BeOS"},
    {0xEE, "GUID Partition Table, Protective"},
    {0xFB, "VMware VMFS"},
    {0xFC, "VMware Core Dump"},
    {0xFD, "Linux RAID"},
};

// What whole disks have under "Content".
constexpr GuidName TABLES[] = {
    {"GUID_PARTITION_SCHEME", "GUID Partition Table"},
    {"FDISK_PARTITION_SCHEME", "MBR Partition Table"},
};

std::string_view mbrName(std::string_view digits) {
  std::uint8_t type = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, type, 16);
  if (error != std::errc() || stop != end) return {};
  const auto* const row = std::ranges::find(MBR_NAMES, type, [](const auto& candidate) { return candidate.type; });
  return row == std::end(MBR_NAMES) ? std::string_view() : row->name;
}

}  // namespace

std::string_view partitionName(std::string_view type) {
  if (type.starts_with("0X")) return mbrName(type.substr(2));
  for (const auto table :
       {std::span<const GuidName>(NAMES), std::span<const GuidName>(DISCOVERABLE), std::span<const GuidName>(TABLES)})
    if (const auto row = std::ranges::find(table, type, &GuidName::guid); row != table.end()) return row->name;
  return {};
}

}  // namespace corvane
