#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Messages/ElfMessageSection.h"
#include "Host/Linux/Messages/MessageModules.h"
#include "Support/MessageTableBytes.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/Host.h>

#include <gelf.h>
#include <gtest/gtest.h>
#include <libelf.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <sys/fsuid.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Ondrel::Host {
namespace {

using Testing::MessageTableBytes;
using Testing::TemporaryFolder;

constexpr ULong kDataFile = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;

/// What stands in a file that a test makes.
struct ElfContent {
  int wordSize = ELFCLASS64;
  int byteOrder = ELFDATA2LSB;
  std::string sectionName = ".msgtable";
  std::string section = {};
  GElf_Word sectionType = SHT_PROGBITS;
};

/// Puts section names one after the other and yields where each starts.
GElf_Word AddName(std::string& names, std::string_view name) {
  const std::size_t offset = names.size();
  names.append(name).push_back('\0');
  return static_cast<GElf_Word>(offset);
}

void AddSection(Elf* elf, GElf_Word name, GElf_Word type, std::string& bytes) {
  Elf_Scn* section = elf_newscn(elf);
  Elf_Data* data = elf_newdata(section);
  data->d_buf = bytes.data();
  data->d_size = bytes.size();
  data->d_align = 4;
  GElf_Shdr header{};
  gelf_getshdr(section, &header);
  header.sh_name = name;
  header.sh_type = type;
  gelf_update_shdr(section, &header);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The bytes of a small ELF file: a section of other content, the message section, the names.
std::string MakeElf(ElfContent content) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("made");
  elf_version(EV_CURRENT);
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  Elf* elf = elf_begin(file, ELF_C_WRITE, nullptr);
  gelf_newehdr(elf, content.wordSize);
  std::string names(1, '\0');
  std::string other = "other";
  const GElf_Word otherName = AddName(names, ".other");
  const GElf_Word messageName = AddName(names, content.sectionName);
  const GElf_Word namesName = AddName(names, ".shstrtab");
  AddSection(elf, otherName, SHT_PROGBITS, other);
  AddSection(elf, messageName, content.sectionType, content.section);
  AddSection(elf, namesName, SHT_STRTAB, names);
  GElf_Ehdr head{};
  gelf_getehdr(elf, &head);
  head.e_ident[EI_DATA] = static_cast<unsigned char>(content.byteOrder);
  head.e_type = ET_DYN;
  head.e_machine = EM_X86_64;
  head.e_version = EV_CURRENT;
  head.e_shstrndx = 3;
  gelf_update_ehdr(elf, &head);
  EXPECT_GT(elf_update(elf, ELF_C_WRITE), 0) << elf_errmsg(-1);
  elf_end(elf);
  close(file);
  return ReadFile(path);
}

std::string SoundTable() {
  return MessageTableBytes().Put32(1).Block(0x20002710, 0x20002710, 16).Wide(u"<%1>\r\n").Text();
}

/// A module that gives itself back.
class Module {
public:
  explicit Module(const std::string& path)
      : m_handle(LoadMessageModule(path.c_str(), nullptr, kDataFile)) {}
  ~Module() {
    if (m_handle != nullptr) FreeMessageModule(m_handle);
  }

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  void* Handle() const { return m_handle; }

private:
  void* m_handle;
};

std::string Message(const void* module, ULong id) {
  char argument[] = "Fan";
  char* arguments[] = {argument};
  char buffer[200] = {};
  const ULong flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY;
  const ULong length = FormatMessageText(flags, module, id, 0, buffer, sizeof buffer, arguments);
  return length != 0 ? std::string(buffer, length) : "error " + std::to_string(LastError());
}

ULong LoadError(const std::string& path) {
  SetLastError(ERROR_SUCCESS);
  const Module module(path);
  return module.Handle() != nullptr ? ERROR_SUCCESS : LastError();
}

TEST(MessageModule, GivesItsMessagesInEveryElfForm) {
  struct Row {
    const char* name;
    int wordSize;
    int byteOrder;
  };
  const Row rows[] = {
      {"64 bits", ELFCLASS64, ELFDATA2LSB},
      {"32 bits", ELFCLASS32, ELFDATA2LSB},
      {"64 bits, big-endian", ELFCLASS64, ELFDATA2MSB},
      {"32 bits, big-endian", ELFCLASS32, ELFDATA2MSB},
  };
  const TemporaryFolder folder;
  for (const Row& row : rows) {
    const std::string bytes =
        MakeElf({.wordSize = row.wordSize, .byteOrder = row.byteOrder, .section = SoundTable()});
    const Module module(folder.Write("module", bytes));
    ASSERT_NE(module.Handle(), nullptr) << row.name;
    EXPECT_EQ(Message(module.Handle(), 0x20002710), "<Fan>\r\n") << row.name;
    EXPECT_EQ(Message(module.Handle(), 0x20002711), "error 317") << row.name;
  }
}

TEST(MessageModule, TheLibrarysOwnFileIsItsMessageFile) {
  const Module module(LibraryPath());
  EXPECT_EQ(Message(module.Handle(), 0x20002710), "Fan\r\n");
  EXPECT_EQ(Message(module.Handle(), 0x20002B65), "Fan\r\n");
  EXPECT_EQ(Message(module.Handle(), 0x20002871), "error 317");
}

TEST(MessageModule, LibraryPathIsAbsoluteAndWithoutLinks) {
  EXPECT_EQ(LibraryPath(), std::filesystem::canonical("/proc/self/exe").string());
}

TEST(MessageModule, TheModuleComesBeforeTheSystem) {
  const std::string table = MessageTableBytes().Put32(1).Block(5, 5, 16).Narrow("mine").Text();
  const TemporaryFolder folder;
  const Module module(folder.Write("module", MakeElf({.section = table})));
  const ULong flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;
  char buffer[100] = {};
  FormatMessageText(flags, module.Handle(), 5, 0, buffer, sizeof buffer, nullptr);
  EXPECT_STREQ(buffer, "mine");
  FormatMessageText(flags, module.Handle(), 2, 0, buffer, sizeof buffer, nullptr);
  EXPECT_STREQ(buffer, "No such file or directory\r\n");
}

TEST(MessageModule, AFileWithoutTheSectionLoadsWithoutMessages) {
  const TemporaryFolder folder;
  const Module other(folder.Write("other", MakeElf({.sectionName = ".msgtables"})));
  ASSERT_NE(other.Handle(), nullptr);
  EXPECT_EQ(Message(other.Handle(), 0x20002710), "error 317");
  const Module program("/proc/self/exe");
  EXPECT_NE(program.Handle(), nullptr);
}

TEST(MessageModule, ASectionWithoutBytesHasNoMessages) {
  const TemporaryFolder folder;
  const Module empty(folder.Write("empty", MakeElf({.section = ""})));
  ASSERT_NE(empty.Handle(), nullptr);
  EXPECT_EQ(Message(empty.Handle(), 0x20002710), "error 317");
  const std::string bytes = MakeElf({.section = SoundTable(), .sectionType = SHT_NOBITS});
  const Module noBits(folder.Write("nobits", bytes));
  ASSERT_NE(noBits.Handle(), nullptr);
  EXPECT_EQ(Message(noBits.Handle(), 0x20002710), "error 317");
}

TEST(MessageModule, ADamagedTableLoadsAndHasNoMessages) {
  const TemporaryFolder folder;
  const std::string table = MessageTableBytes().Put32(1).Block(1, 9, 0xFFFFFFF0).Text();
  const Module module(folder.Write("module", MakeElf({.section = table})));
  ASSERT_NE(module.Handle(), nullptr);
  EXPECT_EQ(Message(module.Handle(), 9), "error 317");
}

TEST(MessageModule, WrongArgumentsAreRefusedBeforeTheFileIsLookedAt) {
  int notNull = 0;
  EXPECT_EQ(LoadMessageModule(nullptr, nullptr, kDataFile), nullptr);
  EXPECT_EQ(LastError(), 87U);
  EXPECT_EQ(LoadMessageModule("/nowhere", &notNull, kDataFile), nullptr);
  EXPECT_EQ(LastError(), 87U);
  for (const ULong flags : {0x00U, 0x01U, 0x08U}) {
    EXPECT_EQ(LoadMessageModule("/nowhere", nullptr, flags), nullptr);
    EXPECT_EQ(LastError(), 87U) << flags;
  }
}

TEST(MessageModule, EitherDataFileFlagIsEnough) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  for (const ULong flags : {0x02U, 0x20U, 0x22U}) {
    void* module = LoadMessageModule(path.c_str(), nullptr, flags);
    EXPECT_NE(module, nullptr) << flags;
    EXPECT_NE(FreeMessageModule(module), 0) << flags;
  }
}

TEST(MessageModule, WhatIsNotAMessageFileIsRefusedWithTheReason) {
  const TemporaryFolder folder;
  const std::string object = MakeElf({.section = SoundTable()});
  std::filesystem::create_symlink(folder.Path("nowhere"), folder.Path("broken link"));
  struct Row {
    const char* name;
    std::string path;
    ULong error;
  };
  const Row rows[] = {
      {"not there", folder.Path("nowhere"), 2},
      {"no path", "", 2},
      {"broken link", folder.Path("broken link"), 2},
      {"below a file", folder.Write("file", object) + "/module", 3},
      {"folder", folder.Path(), 193},
      {"device", "/dev/zero", 193},
      {"empty", folder.Write("empty", ""), 193},
      {"text", folder.Write("text", "#!/bin/sh\nexit 0\n"), 193},
      {"mark alone",
       folder.Write("mark",
                    "\x7F"
                    "ELF"),
       193},
      {"archive", folder.Write("archive", "!<arch>\n"), 193},
  };
  for (const Row& row : rows) EXPECT_EQ(LoadError(row.path), row.error) << row.name;
}

TEST(MessageModule, APipeNobodyWritesToDoesNotHoldTheCallerUp) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(LoadError(folder.Path("pipe")), 193U);
}

TEST(MessageModule, ASocketIsNotAMessageFile) {
  const TemporaryFolder folder;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = folder.Path("socket");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  const FileDescriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(server.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(LoadError(path), 193U);
}

/// Reads files as a user without rights to them, in this thread, for one scope.
class AsNobody {
public:
  AsNobody() : m_before(setfsuid(kNobody)) {}
  ~AsNobody() { setfsuid(static_cast<uid_t>(m_before)); }

  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

private:
  static constexpr uid_t kNobody = 65534;
  int m_before;
};

TEST(MessageModule, AFileThatMayNotBeReadIsDenied) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  std::filesystem::permissions(path, std::filesystem::perms::none);
  std::filesystem::permissions(folder.Path(), std::filesystem::perms::all);
  const AsNobody asNobody;
  EXPECT_EQ(LoadError(path), 5U);
}

TEST(MessageModule, AHandleIsGivenBackOnce) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  void* module = LoadMessageModule(path.c_str(), nullptr, kDataFile);
  EXPECT_NE(FreeMessageModule(module), 0);
  SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(FreeMessageModule(module), 0);
  EXPECT_EQ(LastError(), 6U);
  EXPECT_EQ(Message(module, 0x20002710), "error 6");
}

TEST(MessageModule, HandlesThatWereNeverGivenOutAreAFailure) {
  int somewhere = 0;
  for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(&somewhere)}) {
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(FreeMessageModule(handle), 0);
    EXPECT_EQ(LastError(), 6U);
  }
}

TEST(MessageModule, AFileLoadedTwiceHasTwoHandles) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  void* first = LoadMessageModule(path.c_str(), nullptr, kDataFile);
  const Module second(path);
  EXPECT_NE(first, second.Handle());
  FreeMessageModule(first);
  EXPECT_EQ(Message(second.Handle(), 0x20002710), "<Fan>\r\n");
}

TEST(MessageModule, AModuleKeepsItsMessagesWhenItsFileChanges) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  const Module module(path);
  folder.Write("module", "");
  EXPECT_EQ(Message(module.Handle(), 0x20002710), "<Fan>\r\n");
}

TEST(MessageModule, ThreadsLoadUseAndReleaseAtTheSameTime) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("module", MakeElf({.section = SoundTable()}));
  const Module shared(path);
  std::vector<int> good(4);
  std::vector<std::thread> threads;
  for (int& count : good)
    threads.emplace_back([&path, &shared, &count] {
      for (int round = 0; round < 50; ++round) {
        const Module own(path);
        count += Message(own.Handle(), 0x20002710) == "<Fan>\r\n";
        count += Message(shared.Handle(), 0x20002710) == "<Fan>\r\n";
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, std::vector<int>(4, 100));
}

// Damaged files: the section reader on files in memory.

/// Reads the section of a file without a name that holds these bytes.
class SectionReader {
public:
  SectionReader() : m_file(memfd_create("elf", MFD_CLOEXEC)) {}

  MessageSection Read(std::string_view bytes) { return Read(bytes, bytes.size()); }

  /// Zeros fill the file up to `fileSize`.
  MessageSection Read(std::string_view bytes, std::size_t fileSize) {
    EXPECT_EQ(ftruncate(m_file.Number(), static_cast<off_t>(fileSize)), 0);
    EXPECT_EQ(pwrite(m_file.Number(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
    return ReadMessageSection(m_file.Number());
  }

private:
  FileDescriptor m_file;
};

MessageSection ReadSection(std::string_view bytes) { return SectionReader().Read(bytes); }

template <class Value>
void Patch(std::string& bytes, std::size_t offset, Value value) {
  ASSERT_LE(offset + sizeof value, bytes.size());
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

/// Offset of the header of section `index` in a 64-bit file.
std::size_t SectionHeader(const std::string& elf, std::size_t index) {
  Elf64_Ehdr head{};
  std::memcpy(&head, elf.data(), sizeof head);
  return head.e_shoff + index * sizeof(Elf64_Shdr);
}

constexpr std::size_t kMessageSectionIndex = 2;

TEST(ElfMessageSection, GivesTheSectionsBytes) {
  const std::string table = SoundTable();
  const MessageSection section = ReadSection(MakeElf({.section = table}));
  EXPECT_EQ(section.error, ERROR_SUCCESS);
  EXPECT_TRUE(std::ranges::equal(section.bytes, std::as_bytes(std::span(table))));
}

TEST(ElfMessageSection, EveryTruncationIsDamage) {
  SectionReader reader;
  for (const int wordSize : {ELFCLASS64, ELFCLASS32}) {
    const std::string elf = MakeElf({.wordSize = wordSize, .section = SoundTable()});
    for (std::size_t size = 0; size < elf.size(); ++size) {
      const MessageSection section = reader.Read(std::string_view(elf).substr(0, size));
      EXPECT_EQ(section.error, 193U) << size;
      EXPECT_TRUE(section.bytes.empty()) << size;
    }
  }
}

TEST(ElfMessageSection, DamagedHeadersAreDamage) {
  const std::string sound = MakeElf({.section = SoundTable()});
  const std::size_t header = SectionHeader(sound, kMessageSectionIndex);
  const std::size_t names = SectionHeader(sound, 3);
  struct Row {
    const char* name;
    std::size_t offset;
    std::uint64_t value;
    std::size_t size;
  };
  const Row rows[] = {
      {"word size", EI_CLASS, 3, 1},
      {"no word size", EI_CLASS, 0, 1},
      {"byte order", EI_DATA, 3, 1},
      {"version", EI_VERSION, 9, 1},
      {"section headers past the end", offsetof(Elf64_Ehdr, e_shoff), 1 << 20, 8},
      {"section headers far past", offsetof(Elf64_Ehdr, e_shoff), ~std::uint64_t{0} - 64, 8},
      {"more section headers than bytes", offsetof(Elf64_Ehdr, e_shnum), 500, 2},
      {"number of sections left open", offsetof(Elf64_Ehdr, e_shnum), 0, 2},
      {"size of a section header", offsetof(Elf64_Ehdr, e_shentsize), 40, 2},
      {"names in no section", offsetof(Elf64_Ehdr, e_shstrndx), 9, 2},
      {"names in another kind of section", offsetof(Elf64_Ehdr, e_shstrndx), 1, 2},
      {"names left to the first section", offsetof(Elf64_Ehdr, e_shstrndx), SHN_XINDEX, 2},
      {"names past the end", names + offsetof(Elf64_Shdr, sh_offset), 1 << 20, 8},
      {"name past the names", header + offsetof(Elf64_Shdr, sh_name), 5000, 4},
      {"section past the end", header + offsetof(Elf64_Shdr, sh_offset), 1 << 20, 8},
      {"section past the end", header + offsetof(Elf64_Shdr, sh_size), 5000, 8},
      {"section of all bytes there are", header + offsetof(Elf64_Shdr, sh_size), ~std::uint64_t{0},
       8},
      {"section whose end wraps", header + offsetof(Elf64_Shdr, sh_offset), ~std::uint64_t{0} - 8,
       8},
  };
  for (const Row& row : rows) {
    std::string damaged = sound;
    std::memcpy(damaged.data() + row.offset, &row.value, row.size);
    const MessageSection section = ReadSection(damaged);
    EXPECT_EQ(section.error, 193U) << row.name;
    EXPECT_TRUE(section.bytes.empty()) << row.name;
  }
}

TEST(ElfMessageSection, AFileWithoutSectionsHasNone) {
  std::string elf = MakeElf({.section = SoundTable()});
  Patch(elf, offsetof(Elf64_Ehdr, e_shoff), std::uint64_t{0});
  Patch(elf, offsetof(Elf64_Ehdr, e_shnum), std::uint16_t{0});
  Patch(elf, offsetof(Elf64_Ehdr, e_shstrndx), std::uint16_t{0});
  const MessageSection section = ReadSection(elf);
  EXPECT_EQ(section.error, ERROR_SUCCESS);
  EXPECT_TRUE(section.bytes.empty());
}

TEST(ElfMessageSection, AFileWithoutSectionNamesHasNone) {
  std::string elf = MakeElf({.section = SoundTable()});
  Patch(elf, offsetof(Elf64_Ehdr, e_shstrndx), std::uint16_t{0});
  EXPECT_EQ(ReadSection(elf).error, ERROR_SUCCESS);
}

TEST(ElfMessageSection, ASectionOfMoreThan16MiBIsRefused) {
  const std::uint64_t limit = std::uint64_t{16} * 1024 * 1024;
  std::string elf = MakeElf({.section = SoundTable()});
  const std::size_t header = SectionHeader(elf, kMessageSectionIndex);
  // The section is moved to the hole after the file's content.
  const std::size_t fileSize = elf.size() + limit + 1;
  Patch(elf, header + offsetof(Elf64_Shdr, sh_offset), std::uint64_t{elf.size()});
  SectionReader reader;
  Patch(elf, header + offsetof(Elf64_Shdr, sh_size), limit);
  EXPECT_EQ(reader.Read(elf, fileSize).bytes.size(), limit);
  Patch(elf, header + offsetof(Elf64_Shdr, sh_size), limit + 1);
  EXPECT_EQ(reader.Read(elf, fileSize).error, 193U);
}

TEST(ElfMessageSection, EveryChangedByteIsReadSafely) {
  SectionReader reader;
  for (const int wordSize : {ELFCLASS64, ELFCLASS32}) {
    const std::string elf = MakeElf({.wordSize = wordSize, .section = SoundTable()});
    for (std::size_t position = 0; position < elf.size(); ++position) {
      for (const char value : {'\x00', '\x01', '\x7F', '\x80', '\xFF'}) {
        std::string changed = elf;
        changed[position] = value;
        const MessageSection section = reader.Read(changed);
        EXPECT_TRUE(section.error == ERROR_SUCCESS || section.error == 193U) << position;
        EXPECT_LE(section.bytes.size(), elf.size()) << position;
      }
    }
  }
}

TEST(ElfMessageSection, AClosedFileIsAFailure) {
  EXPECT_EQ(ReadMessageSection(-1).error, ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace Ondrel::Host
