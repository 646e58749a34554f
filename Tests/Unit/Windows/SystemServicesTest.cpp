#include "Host/ServiceOperations.h"
#include "Support/GroupingLocale.h"
#include "Support/PreparedOperations.h"
#include "Windows/RestartRequest.h"

#include <Ondrel/System.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace Ondrel {
namespace {

using testing::ElementsAre;

unsigned int Give(const std::string& text, char* buffer) {
  std::strcpy(buffer, text.c_str());
  return static_cast<unsigned int>(text.size());
}

/// A host with drivers and version records that tests set up; every call is noted.
class ModuleVersion : public testing::Test {
protected:
  std::vector<std::string> m_drivers{"ntoskrnl.exe", "Storage.SYS"};
  ULong m_driverBytes = 16;
  bool m_canList = true;
  bool m_hasFolder = true;
  std::string m_otherFolder;
  bool m_hasOther = true;
  // The version records by path: a text without a translation gives "".
  std::map<std::string, std::string> m_sizePaths{{"C:\\Windows\\drivers\\storage.sys", "1"}};
  std::map<std::string, std::string> m_readPaths{{"C:\\Windows\\drivers\\storage.sys", "1"}};
  std::vector<std::uint16_t> m_translation{0x0409, 0x04B0};
  unsigned int m_translationBytes = 4;
  std::map<std::string, std::string> m_values{
      {"\\StringFileInfo\\040904B0\\FileVersion", "1.2.3 (build 4)"}};
  ULong m_lastError = 0;
  ULong m_missingError = 2;
  std::vector<std::string> m_calls;

  std::string Version(const std::string& name) {
    std::string version = "old";
    CSystem::GetModuleVersion(name, version);
    return version;
  }

private:
  int Look(const char* call, const std::map<std::string, std::string>& paths, const char* path) {
    m_calls.push_back(std::string(call) + " " + path);
    if (paths.count(path) != 0) return 40;
    m_lastError = m_missingError;
    return 0;
  }

  Testing::PreparedOperations<Host::ServiceOperations> m_operations{
      Host::Service(),
      {.EnumDeviceDrivers =
           [this](void** images, ULong size, ULong* needed) {
             EXPECT_EQ(size, 8192U);
             for (std::size_t i = 0; i < m_drivers.size(); ++i)
               images[i] = reinterpret_cast<void*>(i + 1);
             *needed = m_driverBytes;
             return m_canList ? 1 : 0;
           },
       .GetDeviceDriverBaseNameA = [this](void* image, char* name, ULong size) -> ULong {
         EXPECT_EQ(size, 1024U);
         const auto index = reinterpret_cast<std::uintptr_t>(image) - 1;
         if (m_drivers[index].empty()) return 0;
         return Give(m_drivers[index], name);
       },
       .GetSystemDirectoryA =
           [this](char* folder, unsigned int size) {
             EXPECT_EQ(size, 260U);
             m_calls.push_back("folder");
             return m_hasFolder ? Give("C:\\Windows", folder) : 0;
           },
       .GetSystemWow64DirectoryA =
           [this](char* folder, unsigned int) {
             m_calls.push_back("other folder");
             return m_hasOther ? Give(m_otherFolder, folder) : 0;
           },
       .GetFileVersionInfoSizeA =
           [this](const char* path, ULong*) {
             return static_cast<ULong>(Look("size", m_sizePaths, path));
           },
       .GetFileVersionInfoA =
           [this](const char* path, ULong handle, ULong size, void*) {
             EXPECT_EQ(handle, 0U);
             EXPECT_EQ(size, 40U);
             return Look("read", m_readPaths, path);
           },
       .VerQueryValueA =
           [this](const void*, const char* key, void** value, unsigned int* length) {
             if (std::string(key) == "\\VarFileInfo\\Translation") {
               *value = m_translation.data();
               *length = m_translationBytes;
               return m_translation.empty() ? 0 : 1;
             }
             const auto found = m_values.find(key);
             if (found == m_values.end()) return 0;
             *value = found->second.data();
             *length = static_cast<unsigned int>(found->second.size() + 1);
             return 1;
           },
       .LookupPrivilegeValueA = nullptr,
       .GetCurrentProcess = nullptr,
       .OpenProcessToken = nullptr,
       .AdjustTokenPrivileges = nullptr,
       .CloseHandle = nullptr,
       .InitiateSystemShutdownA = nullptr,
       .Beep = nullptr,
       .GetLastError = [this] { return m_lastError; }}};
};

TEST_F(ModuleVersion, OfALoadedDriverIsCutAtItsFirstSpace) {
  EXPECT_EQ(Version("storage"), "1.2.3");
  EXPECT_THAT(m_calls, ElementsAre("folder", "size C:\\Windows\\drivers\\storage.sys",
                                   "read C:\\Windows\\drivers\\storage.sys"));
}

TEST_F(ModuleVersion, WithoutASpaceIsWhole) {
  m_values["\\StringFileInfo\\040904B0\\FileVersion"] = "10.0.19041.1";
  EXPECT_EQ(Version("storage"), "10.0.19041.1");
}

TEST_F(ModuleVersion, OfADriverThatIsNotLoadedIsEmptyAndNothingElseIsAsked) {
  EXPECT_EQ(Version("other"), "");
  EXPECT_THAT(m_calls, ElementsAre());
}

TEST_F(ModuleVersion, CaseOfTheNameDoesNotCount) {
  m_sizePaths = m_readPaths = {{"C:\\Windows\\drivers\\sToRaGe.sys", ""}};
  EXPECT_EQ(Version("sToRaGe"), "1.2.3");
}

TEST_F(ModuleVersion, NameWithItsExtensionIsNotFound) { EXPECT_EQ(Version("storage.sys"), ""); }

TEST_F(ModuleVersion, NameIsEmptiedWithTheVersionWhereBothAreOneObject) {
  std::string text = "storage";
  CSystem::GetModuleVersion(text, text);
  EXPECT_EQ(text, "");

  m_drivers = {".SYS"};
  m_sizePaths = m_readPaths = {{"C:\\Windows\\drivers\\.sys", ""}};
  text = "storage";
  CSystem::GetModuleVersion(text, text);
  EXPECT_EQ(text, "1.2.3");
}

TEST_F(ModuleVersion, DriversWithoutANameAreSkipped) {
  m_drivers = {"", "storage.sys"};
  EXPECT_EQ(Version("storage"), "1.2.3");
}

TEST_F(ModuleVersion, ListThatFailsMeansNotLoaded) {
  m_canList = false;
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, ListOf1024DriversOrMoreMeansNotLoaded) {
  m_driverBytes = 8192;
  EXPECT_EQ(Version("storage"), "");
  m_driverBytes = 8200;
  EXPECT_EQ(Version("storage"), "");
  m_driverBytes = 16;
  EXPECT_EQ(Version("storage"), "1.2.3");
}

TEST_F(ModuleVersion, ListOfLessThanOneDriverMeansNotLoaded) {
  m_driverBytes = 7;
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, DriversAfterTheReportedSizeAreNotLookedAt) {
  m_driverBytes = 8;
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, WithoutASystemFolderIsEmpty) {
  m_hasFolder = false;
  EXPECT_EQ(Version("storage"), "");
  EXPECT_THAT(m_calls, ElementsAre("folder"));
}

TEST_F(ModuleVersion, MissingFileIsLookedForInTheOtherFolderByBothSteps) {
  m_otherFolder = "C:\\Wow";
  m_sizePaths = m_readPaths = {{"C:\\Wow\\drivers\\storage.sys", ""}};
  EXPECT_EQ(Version("storage"), "1.2.3");
  EXPECT_THAT(m_calls, ElementsAre("folder", "size C:\\Windows\\drivers\\storage.sys",
                                   "other folder", "size C:\\Wow\\drivers\\storage.sys",
                                   "read C:\\Windows\\drivers\\storage.sys", "other folder",
                                   "read C:\\Wow\\drivers\\storage.sys"));
}

TEST_F(ModuleVersion, OtherFailuresAreNotTriedAgain) {
  m_otherFolder = "C:\\Wow";
  m_missingError = 5;
  m_sizePaths = {{"C:\\Wow\\drivers\\storage.sys", ""}};
  EXPECT_EQ(Version("storage"), "");
  EXPECT_THAT(m_calls, ElementsAre("folder", "size C:\\Windows\\drivers\\storage.sys"));
}

TEST_F(ModuleVersion, HostWithoutAnotherFolderEndsTheAttempt) {
  m_sizePaths = {};
  m_hasOther = false;
  EXPECT_EQ(Version("storage"), "");
  Host::Service().GetSystemWow64DirectoryA = nullptr;
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, RecordThatCannotBeReadGivesNothing) {
  m_readPaths = {};
  m_hasOther = false;
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, MissingOrShortTranslationGivesNothing) {
  m_translationBytes = 3;
  EXPECT_EQ(Version("storage"), "");
  m_translationBytes = 0;
  EXPECT_EQ(Version("storage"), "");
  m_translation.clear();
  EXPECT_EQ(Version("storage"), "");
}

TEST_F(ModuleVersion, FirstOfSeveralTranslationsCounts) {
  m_translation = {0x0407, 0x04E4, 0x0409, 0x04B0};
  m_translationBytes = 8;
  m_values["\\StringFileInfo\\040704E4\\FileVersion"] = "7 de";
  EXPECT_EQ(Version("storage"), "7");
}

TEST_F(ModuleVersion, KeyHasUpperCaseHexadecimalDigits) {
  m_translation = {0xABCD, 0x00EF};
  m_values = {{"\\StringFileInfo\\ABCD00EF\\FileVersion", "x"}};
  EXPECT_EQ(Version("storage"), "x");
}

TEST_F(ModuleVersion, ProgramLocaleDoesNotGroupTheDigitsOfTheKey) {
  const Testing::GroupingLocale grouping;
  m_translation = {0x0409, 0x04B0};
  m_values = {{"\\StringFileInfo\\040904B0\\FileVersion", "x"}};
  EXPECT_EQ(Version("storage"), "x");
}

TEST_F(ModuleVersion, RecordWithoutTheValueGivesNothing) {
  m_values.clear();
  EXPECT_EQ(Version("storage"), "");
}

/// The restart over a host on which a test chooses what fails.
class Restart : public testing::Test {
protected:
  std::vector<std::string> m_calls;
  bool m_hasPrivilege = true;
  bool m_hasToken = true;
  int m_shutdownResult = 0;
  std::vector<ULong> m_errorsOfAdjust{0, 0};

private:
  static inline int s_process = 0;
  static inline int s_token = 0;
  ULong m_lastError = 0;
  std::size_t m_adjusted = 0;

  Testing::PreparedOperations<Host::ServiceOperations> m_operations{
      Host::Service(),
      {.EnumDeviceDrivers = nullptr,
       .GetDeviceDriverBaseNameA = nullptr,
       .GetSystemDirectoryA = nullptr,
       .GetSystemWow64DirectoryA = nullptr,
       .GetFileVersionInfoSizeA = nullptr,
       .GetFileVersionInfoA = nullptr,
       .VerQueryValueA = nullptr,
       .LookupPrivilegeValueA =
           [this](const char* system, const char* name, LUID* privilege) {
             EXPECT_EQ(system, nullptr);
             m_calls.push_back(name);
             *privilege = {.LowPart = 19, .HighPart = -7};
             return m_hasPrivilege ? 1 : 0;
           },
       .GetCurrentProcess = [] { return &s_process; },
       .OpenProcessToken =
           [this](void* process, ULong access, void** token) {
             EXPECT_EQ(process, &s_process);
             m_calls.push_back("open " + std::to_string(access));
             *token = &s_token;
             return m_hasToken ? 1 : 0;
           },
       .AdjustTokenPrivileges =
           [this](void* token, int disableAll, TOKEN_PRIVILEGES* state, ULong size,
                  TOKEN_PRIVILEGES* previous, ULong* needed) {
             EXPECT_EQ(token, &s_token);
             EXPECT_EQ(disableAll, 0);
             EXPECT_EQ(size, 16U);
             EXPECT_EQ(state->PrivilegeCount, 1U);
             EXPECT_EQ(state->Privileges[0].Luid.LowPart, 19U);
             EXPECT_EQ(state->Privileges[0].Luid.HighPart, -7);
             m_calls.push_back("adjust to " + std::to_string(state->Privileges[0].Attributes) +
                               (previous != nullptr ? " asking" : ""));
             if (previous != nullptr) {
               EXPECT_EQ(*needed, 16U);
               // One that was enabled by default: 1. The count says that nothing was changed.
               *previous = {.PrivilegeCount = 0, .Privileges = {{{0, 0}, 1}}};
             }
             m_lastError = m_errorsOfAdjust[m_adjusted++];
             return 1;
           },
       .CloseHandle =
           [this](void* handle) {
             EXPECT_EQ(handle, &s_token);
             m_calls.push_back("close");
             return 1;
           },
       .InitiateSystemShutdownA =
           [this](char* machine, char* message, ULong seconds, int forceClose, int restart) {
             EXPECT_EQ(machine, nullptr);
             EXPECT_EQ(seconds, 0U);
             EXPECT_EQ(forceClose, 1);
             EXPECT_EQ(restart, 1);
             m_calls.push_back(message);
             return m_shutdownResult;
           },
       .Beep =
           [this](ULong frequency, ULong duration) {
             m_calls.push_back(std::to_string(frequency) + " " + std::to_string(duration));
             return 0;
           },
       .GetLastError = [this] { return m_lastError; }}};
};

TEST_F(Restart, EnablesThePrivilegeInTwoPasses) {
  CSystem::Reboot();
  EXPECT_THAT(m_calls,
              ElementsAre("SeShutdownPrivilege", "open 40", "adjust to 0 asking", "adjust to 3",
                          "close", "Rebooting system due to RAID configuration changes"));
}

TEST_F(Restart, EndsWithoutThePrivilege) {
  m_hasPrivilege = false;
  CSystem::Reboot();
  EXPECT_THAT(m_calls, ElementsAre("SeShutdownPrivilege"));
}

TEST_F(Restart, EndsWithoutAToken) {
  m_hasToken = false;
  CSystem::Reboot();
  EXPECT_THAT(m_calls, ElementsAre("SeShutdownPrivilege", "open 40"));
}

TEST_F(Restart, FailedFirstPassSkipsTheSecondAndTheShutdown) {
  m_errorsOfAdjust = {1300};
  CSystem::Reboot();
  EXPECT_THAT(m_calls,
              ElementsAre("SeShutdownPrivilege", "open 40", "adjust to 0 asking", "close"));
}

TEST_F(Restart, FailedSecondPassEndsBeforeTheShutdown) {
  m_errorsOfAdjust = {0, 1300};
  CSystem::Reboot();
  EXPECT_THAT(m_calls, ElementsAre("SeShutdownPrivilege", "open 40", "adjust to 0 asking",
                                   "adjust to 3", "close"));
}

TEST_F(Restart, RequestHasItsOwnMessageAndReportsSuccess) {
  m_shutdownResult = 1;
  EXPECT_EQ(RequestRestart("drive replaced"), 0U);
  EXPECT_THAT(m_calls, ElementsAre("SeShutdownPrivilege", "open 40", "adjust to 0 asking",
                                   "adjust to 3", "close", "drive replaced"));
}

TEST_F(Restart, RequestThatFailsWithoutAnErrorIsNotTakenForARestart) {
  m_shutdownResult = 0;
  EXPECT_NE(RequestRestart("m"), 0U);
}

TEST_F(Restart, RequestReportsTheErrorOfThePrivilege) {
  m_errorsOfAdjust = {0, 1300};
  EXPECT_EQ(RequestRestart("m"), 1300U);
  EXPECT_THAT(m_calls, ElementsAre("SeShutdownPrivilege", "open 40", "adjust to 0 asking",
                                   "adjust to 3", "close"));
}

TEST_F(Restart, BeepHandsItsNumbersOn) {
  CSystem::Beep(440, 250);
  CSystem::Beep(0xFFFFFFFF, 0);
  EXPECT_THAT(m_calls, ElementsAre("440 250", "4294967295 0"));
}

}  // namespace
}  // namespace Ondrel
