#include "Support/TemporaryFolder.h"

#include <Ondrel/Host.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::TemporaryFolder;

constexpr char kVersionStamp[] = "$Header: @(#) ondrel.dll P7.10.2 F7.10.2 $";

std::string ReadFile(const std::string& path) {
  std::string bytes(std::filesystem::file_size(path), '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

/// What a command prints; it must succeed.
std::string Output(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string output;
  for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe))
    output += static_cast<char>(character);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

/// The bytes of one section of the built library, as objcopy takes them out.
std::string SectionFile(const TemporaryFolder& folder, const std::string& section) {
  std::string path = folder.Path("section");
  Output(ONDREL_OBJCOPY " -O binary --only-section=" + section + " '" ONDREL_LIBRARY_FILE "' '" +
         path + "'");
  return path;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

TEST(MessageSection, HoldsTheThreeBlocksEntryByEntry) {
  struct Block {
    unsigned firstId;
    unsigned lastId;
    unsigned entries;
  };
  const Block blocks[] = {
      {0x20002710, 0x20002870, 353},
      {0x20002873, 0x2000292C, 186},
      {0x2000292E, 0x20002B65, 568},
  };
  std::ostringstream expected;
  expected << std::hex;
  for (const Block& block : blocks) {
    expected << "block 0x" << block.firstId << " 0x" << block.lastId << '\n';
    for (unsigned entry = 0; entry < block.entries; ++entry)
      expected << "0x" << block.firstId + entry << " 1 '%1\\r\\n'\n";
  }
  expected << "end 0\n";

  const TemporaryFolder folder;
  const std::string section = SectionFile(folder, ".msgtable");
  EXPECT_EQ(Output(ONDREL_TEST_PYTHON " '" ONDREL_SOURCE_FOLDER
                                      "/Tests/Integration/dump-message-table.py' '" +
                   section + "'"),
            expected.str());
}

TEST(MessageSection, IsReadOnlyData) {
  const std::string sections = Output(ONDREL_READELF " -SW '" ONDREL_LIBRARY_FILE "'");
  std::istringstream lines(sections.substr(sections.find(".msgtable")));
  std::string name, type, address, offset, size, entrySize, flags;
  lines >> name >> type >> address >> offset >> size >> entrySize >> flags;
  EXPECT_EQ(type, "PROGBITS");
  EXPECT_EQ(flags, "A");
}

TEST(VersionStamp, IsFoundOnceByATextSearchOverTheFile) {
  EXPECT_EQ(CountOf(ReadFile(ONDREL_LIBRARY_FILE), kVersionStamp), 1U);
}

TEST(VersionStamp, LiesInWritableData) {
  const TemporaryFolder folder;
  EXPECT_EQ(CountOf(ReadFile(SectionFile(folder, ".data")), kVersionStamp), 1U);
}

TEST(LibraryPath, IsTheBuiltLibraryWithoutLinks) {
  EXPECT_EQ(Host::LibraryPath(), std::filesystem::canonical(ONDREL_LIBRARY_FILE).string());
}

}  // namespace
}  // namespace Ondrel
