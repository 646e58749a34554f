#include "Host/Linux/Messages/ElfMessageSection.h"

#include "Host/Linux/LastError.h"

#include <gelf.h>
#include <libelf.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kSectionName = ".msgtable";
constexpr std::uint64_t kMaxSectionSize = std::uint64_t{16} * 1024 * 1024;

struct ElfCloser {
  void operator()(Elf* elf) const { elf_end(elf); }
};
using ElfFile = std::unique_ptr<Elf, ElfCloser>;

enum class Search { Found, Absent, Damaged };

bool IsElfLibraryUsable() {
  static const bool isUsable = elf_version(EV_CURRENT) != EV_NONE;
  return isUsable;
}

bool LiesWithin(std::uint64_t offset, std::uint64_t size, std::uint64_t fileSize) {
  return offset <= fileSize && size <= fileSize - offset;
}

// A file whose head leaves the number of sections to the first section header may claim billions of
// them, for each of which libelf takes memory. No message file has so many that it needs that.
bool LeavesSectionCountOpen(int fileDescriptor) {
  std::array<unsigned char, sizeof(Elf64_Ehdr)> head{};
  if (pread(fileDescriptor, head.data(), head.size(), 0) < 0) return true;
  const auto isZero = [&head](std::size_t offset, std::size_t size) {
    const auto field = std::span(head).subspan(offset, size);
    return std::all_of(field.begin(), field.end(), [](unsigned char byte) { return byte == 0; });
  };
  if (head[EI_CLASS] == ELFCLASS32)
    return isZero(offsetof(Elf32_Ehdr, e_shnum), sizeof(Elf32_Half)) &&
           !isZero(offsetof(Elf32_Ehdr, e_shoff), sizeof(Elf32_Off));
  return isZero(offsetof(Elf64_Ehdr, e_shnum), sizeof(Elf64_Half)) &&
         !isZero(offsetof(Elf64_Ehdr, e_shoff), sizeof(Elf64_Off));
}

bool AreSectionHeadersSound(Elf* elf, std::uint64_t fileSize) {
  GElf_Ehdr head{};
  if (gelf_getehdr(elf, &head) == nullptr) return false;
  if (head.e_shnum == 0) return true;
  const std::uint64_t entrySize = gelf_fsize(elf, ELF_T_SHDR, 1, EV_CURRENT);
  return head.e_shentsize == entrySize && head.e_shstrndx < head.e_shnum &&
         LiesWithin(head.e_shoff, head.e_shnum * entrySize, fileSize);
}

Search FindSection(Elf* elf, Elf_Scn*& section, GElf_Shdr& header) {
  std::size_t names = 0;
  if (elf_getshdrstrndx(elf, &names) != 0) return Search::Damaged;
  if (names == SHN_UNDEF) return Search::Absent;
  for (section = elf_nextscn(elf, nullptr); section != nullptr;
       section = elf_nextscn(elf, section)) {
    if (gelf_getshdr(section, &header) == nullptr) return Search::Damaged;
    const char* name = elf_strptr(elf, names, header.sh_name);
    if (name == nullptr) return Search::Damaged;
    if (name == kSectionName) return Search::Found;
  }
  return Search::Absent;
}

MessageSection Failed(ULong error) { return {.error = error, .bytes = {}}; }

MessageSection SectionBytes(Elf_Scn* section) {
  const Elf_Data* data = elf_rawdata(section, nullptr);
  if (data == nullptr) return Failed(ERROR_BAD_EXE_FORMAT);
  const auto* begin = static_cast<const std::byte*>(data->d_buf);
  if (begin == nullptr) return {};
  return {.error = ERROR_SUCCESS, .bytes = {begin, begin + data->d_size}};
}

}  // namespace

MessageSection ReadMessageSection(int fileDescriptor) {
  struct stat file {};
  if (fstat(fileDescriptor, &file) != 0) return Failed(ErrorFromErrno(errno));
  if (!S_ISREG(file.st_mode) || !IsElfLibraryUsable() || LeavesSectionCountOpen(fileDescriptor))
    return Failed(ERROR_BAD_EXE_FORMAT);

  const auto fileSize = static_cast<std::uint64_t>(file.st_size);
  const ElfFile elf(elf_begin(fileDescriptor, ELF_C_READ, nullptr));
  if (!elf || elf_kind(elf.get()) != ELF_K_ELF || !AreSectionHeadersSound(elf.get(), fileSize))
    return Failed(ERROR_BAD_EXE_FORMAT);

  Elf_Scn* section = nullptr;
  GElf_Shdr header{};
  switch (FindSection(elf.get(), section, header)) {
    case Search::Damaged:
      return Failed(ERROR_BAD_EXE_FORMAT);
    case Search::Absent:
      return {};
    case Search::Found:
      break;
  }
  // A section without bytes in the file has a size all the same.
  if (header.sh_type == SHT_NOBITS) return {};
  if (header.sh_size > kMaxSectionSize || !LiesWithin(header.sh_offset, header.sh_size, fileSize))
    return Failed(ERROR_BAD_EXE_FORMAT);
  return SectionBytes(section);
}

}  // namespace Ondrel::Host
