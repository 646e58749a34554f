#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using Testing::ProcessResult;
using Testing::RunProcess;
using Testing::TemporaryFolder;
using testing::UnorderedElementsAre;

constexpr std::uint32_t kLoadNoteType = 0x407c0c0a;

/// The bytes of one section of a file, as objcopy takes them out.
std::string Section(const std::string& file, const std::string& section) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("section");
  const ProcessResult result = RunProcess(
      ONDREL_OBJCOPY, {"--dump-section", section + "=" + path, file, folder.Path("copy")});
  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  std::ifstream bytes(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(bytes), {}};
}

/// What the notes of a file's section .note.dlopen say.
std::vector<json> LoadNotes(const std::string& file) {
  const std::string bytes = Section(file, ".note.dlopen");
  const auto padded = [](std::uint32_t length) { return (length + 3) / 4 * 4; };
  std::vector<json> notes;
  for (std::size_t at = 0; at + 12 <= bytes.size();) {
    std::uint32_t head[3];
    std::memcpy(head, bytes.data() + at, sizeof head);
    const auto [ownerLength, textLength, type] = head;
    at += sizeof head;
    EXPECT_EQ(type, kLoadNoteType);
    EXPECT_EQ(bytes.substr(at, ownerLength), std::string("FDO\0", 4));
    at += padded(ownerLength);
    // The text ends with a zero byte, which its length counts.
    for (const json& entry : json::parse(bytes.substr(at, textLength - 1))) notes.push_back(entry);
    at += padded(textLength);
  }
  return notes;
}

std::vector<std::string> NamesOf(const std::vector<json>& notes) {
  std::vector<std::string> names;
  for (const json& note : notes) names.push_back(note.at("soname").at(0));
  return names;
}

TEST(OnDemand, NotesNameTheLibrariesThatAreLoadedOnDemand) {
  EXPECT_THAT(
      NamesOf(LoadNotes(ONDREL_LIBRARY_FILE)),
      UnorderedElementsAre("libcurl.so.4", "libsystemd.so.0", "libkmod.so.2", "libblkid.so.1",
                           "libmount.so.1", "libsqlite3.so.0", "libelf.so.1"));
  EXPECT_THAT(NamesOf(LoadNotes(ONDREL_BASE_LIBRARY_FILE)),
              UnorderedElementsAre("libsystemd.so.0"));
}

TEST(OnDemand, NotesAreReadOnlyData) {
  for (const std::string file : {ONDREL_LIBRARY_FILE, ONDREL_BASE_LIBRARY_FILE}) {
    const std::string sections = RunProcess(ONDREL_READELF, {"-SW", file}).output;
    std::istringstream lines(sections.substr(sections.find(".note.dlopen")));
    std::string name, type, address, offset, size, entrySize, flags;
    lines >> name >> type >> address >> offset >> size >> entrySize >> flags;
    EXPECT_EQ(type, "NOTE") << file;
    EXPECT_EQ(flags, "A") << file;
  }
}

TEST(OnDemand, LibrariesThatAreLoadedOnDemandAreNotLinked) {
  for (const std::string file : {ONDREL_LIBRARY_FILE, ONDREL_BASE_LIBRARY_FILE}) {
    const std::string linked = RunProcess(ONDREL_READELF, {"-d", file}).output;
    ASSERT_THAT(linked, HasSubstr("libstdc++.so.6"));
    for (const std::string& name : NamesOf(LoadNotes(file)))
      EXPECT_THAT(linked, Not(HasSubstr(name))) << file;
  }
}

TEST(OnDemand, TheLibrariesAreThoseOfTheirHeaders) {
  // This program is linked with them by the names that the compiler found.
  const std::string linked = RunProcess(ONDREL_READELF, {"-d", ONDREL_LINKED_PROGRAM}).output;
  for (const std::string& name : NamesOf(LoadNotes(ONDREL_LIBRARY_FILE)))
    EXPECT_THAT(linked, HasSubstr("[" + name + "]"));
}

TEST(OnDemand, AMissingMailLibraryIsAMailThatIsNotSent) {
  const TemporaryFolder folder;
  folder.Write("libcurl.so.4", "no library");

  const ProcessResult result =
      RunProcess("/usr/bin/env", {"LD_LIBRARY_PATH=" + folder.Path(), ONDREL_COMMAND, "--trace",
                                  "error", "mail", "--server", "127.0.0.1", "--mail-from",
                                  "a@example.org", "--to", "b@example.org", "--subject", "x"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.errors, HasSubstr("cannot load " + folder.Path("libcurl.so.4") + ": "));
}

TEST(OnDemand, AMissingStoreLibraryIsARecordThatIsNotWrittenAndSaidSo) {
  const TemporaryFolder folder;
  folder.Write("libsqlite3.so.0", "no library");

  const ProcessResult result =
      RunProcess("/usr/bin/env",
                 {"LD_LIBRARY_PATH=" + folder.Path(), ONDREL_COMMAND, "--trace", "error", "--store",
                  folder.Path("events.db"), "log", "report", "Demo", "10002", "information", "x"});

  EXPECT_NE(result.exitStatus, 0);
  EXPECT_THAT(result.errors, HasSubstr("cannot load " + folder.Path("libsqlite3.so.0") + ": "));
}

}  // namespace
}  // namespace Ondrel
