#include "Support/TemporaryFolder.h"
#include "Tool/Host/Linux/HostName.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace Tool {
namespace {

using Ondrel::Testing::TemporaryFolder;
using namespace std::string_literals;

class HostNames : public testing::Test {
protected:
  HostNames() {
    for (const char* const folder : {"etc", "usr/lib", "run/systemd", "proc", "sys/hypervisor"})
      std::filesystem::create_directories(m_folder.Path(folder));
  }

  HostName Name() const {
    return NameFrom({.root = m_folder.Path(), .detect = [this](const std::string& question) {
                       return question == "--vm" ? m_machine : m_container;
                     }});
  }

  TemporaryFolder m_folder;
  std::string m_machine = "kvm\n";
  std::string m_container = "none\n";
};

TEST_F(HostNames, ComeFromTheReleaseFile) {
  m_folder.Write("etc/os-release",
                 "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
                 "VERSION_ID='12'\n# ID=not\nVERSION_CODENAME=bookworm\nID=debian\n");
  const HostName name = Name();

  EXPECT_EQ(name.distribution, "Debian GNU/Linux");
  EXPECT_EQ(name.id, "debian");
  EXPECT_EQ(name.version, "12");
  EXPECT_EQ(name.codename, "bookworm");
  EXPECT_EQ(name.description, "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(name.virtualization, "kvm");
  EXPECT_EQ(name.container, "none");
}

TEST_F(HostNames, SecondPlaceOfTheReleaseFileCounts) {
  m_folder.Write("usr/lib/os-release", "ID=other\n");

  EXPECT_EQ(Name().id, "other");
}

TEST_F(HostNames, HostWithoutAReleaseFileHasNoDistribution) {
  EXPECT_EQ(Name().distribution, "");
  EXPECT_EQ(Name().virtualization, "kvm");
}

TEST_F(HostNames, QuotesAndBackslashesAreThoseOfAShell) {
  m_folder.Write("etc/os-release",
                 "NAME=\"a \\\"b\\\" \\$HOME `id`\"\r\nID='c\\d'\nVERSION_ID=1\\ 2 3\n"
                 "VERSION_CODENAME=\"open\n");
  const HostName name = Name();

  EXPECT_EQ(name.distribution, "a \"b\" $HOME `id`");
  EXPECT_EQ(name.id, "c\\d");
  EXPECT_EQ(name.version, "1 2");
  EXPECT_EQ(name.codename, "open");
}

TEST_F(HostNames, HostileContentsAreMadeSafe) {
  m_folder.Write("etc/os-release", "NAME=\"\x1B[2J\x9B evil\xC2\x9Bm \xFF\"\nID=a\0b\n"s +
                                       "VERSION_ID=" + std::string(100'000, 'x') + "\n");
  const HostName name = Name();

  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(name.distribution, mark + "[2J" + mark + " evil" + mark + "m " + mark);
  EXPECT_EQ(name.id, "a" + mark + "b");
  EXPECT_EQ(name.version, std::string(256, 'x'));
}

TEST_F(HostNames, PipeInPlaceOfTheReleaseFileIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo(m_folder.Path("etc/os-release").c_str(), 0600), 0);

  EXPECT_EQ(Name().distribution, "");
}

TEST_F(HostNames, DetectionThatSaysMoreThanAWordIsNotBelieved) {
  m_machine = "kvm; rm -rf /\n";
  m_container = "\x1B[2J\n";
  m_folder.Write("proc/cpuinfo", "processor : 0\nflags\t\t: fpu hypervisor sse\n");
  const HostName name = Name();

  EXPECT_EQ(name.virtualization, "vm-other");
  EXPECT_EQ(name.container, "none");
}

TEST_F(HostNames, MarksCountWhereThereIsNoDetection) {
  m_machine = m_container = "";
  m_folder.Write("sys/hypervisor/type", "xen\n");
  m_folder.Write("run/systemd/container", "lxc\n");
  EXPECT_EQ(Name().virtualization, "xen");
  EXPECT_EQ(Name().container, "lxc");

  m_folder.Write("sys/hypervisor/type", "");
  m_folder.Write("run/systemd/container", "");
  m_folder.Write("proc/cpuinfo", "processor : 0\nflags\t\t: fpu sse\n");
  m_folder.Write(".dockerenv", "");
  EXPECT_EQ(Name().virtualization, "none");
  EXPECT_EQ(Name().container, "docker");
}

TEST_F(HostNames, LongestWordIsOf256Letters) {
  m_container = "";
  const std::string longest(256, 'x');
  m_folder.Write("run/systemd/container", longest + "\n");
  EXPECT_EQ(Name().container, longest);

  m_folder.Write("run/systemd/container", longest + "x\n");
  EXPECT_EQ(Name().container, "none");
}

TEST(NameOfHost, ThisHostHasAKernelAndAnArchitecture) {
  const std::optional<HostName> name = NameOfHost();

  ASSERT_TRUE(name);
  EXPECT_TRUE(name->kernel.starts_with("Linux ")) << name->kernel;
  EXPECT_EQ(name->architecture, "x86_64");
}

}  // namespace
}  // namespace Tool
