#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// libcurl, which the first mail loads.

namespace Ondrel {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Testing::ProcessResult;
using Testing::RunProcess;
using Testing::TemporaryFolder;

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
    if (type == 0) break;  // A sanitizer leaves room after it.
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

/// Runs the command with its libcurl taken from a folder first.
ProcessResult SendMail(const TemporaryFolder& folder) {
  return RunProcess("/usr/bin/env",
                    {"LD_LIBRARY_PATH=" + folder.Path(), ONDREL_COMMAND, "--trace", "error",
                     "--json", "mail", "--server", "127.0.0.1", "--port", "1", "--mail-from",
                     "a@example.org", "--to", "b@example.org", "--subject", "x"});
}

TEST(MailLibrary, ANoteNamesIt) {
  const std::vector<json> notes = LoadNotes(ONDREL_LIBRARY_FILE);
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_THAT(notes[0].at("soname"), ElementsAre("libcurl.so.4"));
}

TEST(MailLibrary, TheNoteIsReadOnlyData) {
  const std::string sections = RunProcess(ONDREL_READELF, {"-SW", ONDREL_LIBRARY_FILE}).output;
  std::istringstream lines(sections.substr(sections.find(".note.dlopen")));
  std::string name, type, address, offset, size, entrySize, flags;
  lines >> name >> type >> address >> offset >> size >> entrySize >> flags;
  EXPECT_EQ(type, "NOTE");
  EXPECT_EQ(flags, "A");
}

TEST(MailLibrary, ItAloneIsNotLinked) {
  const std::string linked = RunProcess(ONDREL_READELF, {"-d", ONDREL_LIBRARY_FILE}).output;
  EXPECT_THAT(linked, HasSubstr("[libsqlite3.so.0]"));
  EXPECT_THAT(linked, HasSubstr("[libsystemd.so.0]"));
  EXPECT_THAT(linked, Not(HasSubstr("libcurl")));
  EXPECT_THAT(RunProcess(ONDREL_READELF, {"-W", "--dyn-syms", ONDREL_LIBRARY_FILE}).output,
              Not(HasSubstr(" curl_")));
}

TEST(MailLibrary, ItIsTheOneThatTheBuildFound) {
  EXPECT_THAT(RunProcess(ONDREL_READELF, {"-d", ONDREL_CURL_LIBRARY_FILE}).output,
              HasSubstr("soname: [libcurl.so.4]"));
}

TEST(MailLibrary, WithoutItAMailIsNotSentAndTheFileIsNamed) {
  const TemporaryFolder folder;
  folder.Write("libcurl.so.4", "not a library");

  const ProcessResult result = SendMail(folder);

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(json::parse(result.output).at("error"), 8);
  EXPECT_THAT(result.errors, HasSubstr("libcurl: " + folder.Path("libcurl.so.4") + ": "));
}

TEST(MailLibrary, WithoutOneOfItsFunctionsAMailIsNotSentAndBothAreNamed) {
  const TemporaryFolder folder;
  // A library, and none of the functions in it.
  std::filesystem::copy_file(ONDREL_DATABASE_LIBRARY_FILE, folder.Path("libcurl.so.4"));

  const ProcessResult result = SendMail(folder);

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(json::parse(result.output).at("error"), 8);
  EXPECT_THAT(result.errors, HasSubstr(folder.Path("libcurl.so.4") + ": "));
  EXPECT_THAT(result.errors, HasSubstr("curl_easy_init"));
}

}  // namespace
}  // namespace Ondrel
