#pragma once

#include <Ondrel/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel {

/// One extent of a volume on a disk: where it lies, and the volume that it belongs to.
///
/// Texts are UTF-8. A plain value: any thread may use objects of its own.
class ONDREL_API CSystemPartition {
public:
  std::string m_Info1;              ///< Not filled by the enumeration.
  std::uint64_t m_StartSector = 0;  ///< First sector, counted in units of 512 bytes on every disk.
  std::uint64_t m_SectorCount = 0;  ///< Length, counted in units of 512 bytes on every disk.
  std::string m_Info2;              ///< Not filled by the enumeration.
  std::string m_Info3;              ///< Not filled by the enumeration.
  std::uint32_t m_Kind = 1;         ///< Not filled by the enumeration; stays 1.
  std::string m_DriveRoot;          ///< The drive's root, as in `C:\`; empty without a letter.
  std::string m_MountPath;          ///< A path at which the volume is mounted; empty without one.
  std::string m_VolumeLabel;        ///< The volume's label; empty without one.
  std::string m_VolumeName;         ///< The volume's name as the host gives it, with its `\`.

  CSystemPartition();
  CSystemPartition(const CSystemPartition& other);
  ~CSystemPartition();
  CSystemPartition& operator=(const CSystemPartition& other);

  /// Whether all ten fields are the same. Texts are compared byte by byte.
  bool operator==(const CSystemPartition& other) const;

  /// Puts `input` into `output` as UTF-8: unchanged when it is valid UTF-8 already, else converted
  /// from the host's narrow code page. Both may be one object.
  static void ConvertToUTF8(const std::string& input, std::string& output);
};

/// Lists what the host's volume manager has placed on one disk.
///
/// Nothing is read from the disk's own partition table: every volume of the host is asked for its
/// extents, anew at each call. Tables of different threads may work at the same time; on Windows
/// the error mode of the process is set while `GetPartitions` runs, and two that overlap may leave
/// the mode of the later one in force.
class ONDREL_API CSystemPartitionTable {
public:
  /// A table of the disk with this name: "Disk ", in that case, and the disk's number in decimal.
  /// White space before the number is skipped; nothing may follow it.
  explicit CSystemPartitionTable(const std::string& deviceName);
  CSystemPartitionTable(const CSystemPartitionTable& other);
  CSystemPartitionTable(CSystemPartitionTable&& other) noexcept;
  CSystemPartitionTable& operator=(const CSystemPartitionTable& other);
  CSystemPartitionTable& operator=(CSystemPartitionTable&& other) noexcept;
  ~CSystemPartitionTable();

  /// Replaces `partitions` by one entry for each extent of a volume on a fixed disk, in the order
  /// in which the host gives the volumes and within a volume in the order of its extents.
  ///
  /// Failures are not reported: a name of another form gives an empty list, and what the host
  /// refuses to say of a volume is left out. A volume of more than 21 extents is left out as a
  /// whole. Throws `std::bad_alloc` only.
  void GetPartitions(std::vector<CSystemPartition>& partitions);

private:
  CSystemPartitionTable();

  std::string m_DeviceName;
};

}  // namespace Ondrel
