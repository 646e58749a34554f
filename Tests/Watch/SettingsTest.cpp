#include "Tool/Watch/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string ErrorOf(const std::string& text) {
  try {
    ReadSettings(text, "watch.conf");
  } catch (const SettingsError& error) {
    return error.what();
  }
  return "none";
}

TEST(Settings, WithoutAConfigurationAllIsWatchedAndNothingMailed) {
  const Settings settings = ReadSettings("", "watch.conf");
  EXPECT_EQ("RAID", settings.log.name);
  EXPECT_EQ("", settings.log.store);
  EXPECT_FALSE(settings.log.isJournal);
  EXPECT_EQ("", settings.mail.server);
  EXPECT_EQ(60, settings.health.interval);
  EXPECT_FALSE(settings.health.armEvents);
  EXPECT_EQ("/var/lib/ondrel/watch.db", settings.stateFile);
}

TEST(Settings, EveryKeyIsRead) {
  const Settings settings = ReadSettings(
      "; the log\n[log]\nname = Disks\nstore=/srv/events.db\n"
      "[mail]\nserver=mail.example.com\nport=2525\nprotocol=smtps\nfrom=raid@example.com\n"
      "to= a@example.com, b@example.com;c@example.com\nuser=raid\npassword-file=/etc/secret\n"
      "min-severity=4\n"
      "[health]\ninterval=30\narm-events=yes\nused-warning=80\nused-critical=95\n"
      "temperature-warning=60\ntemperature-critical=70\n"
      "[metrics]\nfile=/var/m.prom\n[exec]\nprogram=/bin/true\ntime-limit=5\n"
      "[state]\nfile=/srv/watch.db\n",
      "watch.conf");
  EXPECT_EQ("Disks", settings.log.name);
  EXPECT_EQ("/srv/events.db", settings.log.store);
  EXPECT_EQ("mail.example.com", settings.mail.server);
  EXPECT_EQ(2525, settings.mail.port);
  EXPECT_EQ("smtps", settings.mail.protocol);
  EXPECT_EQ("raid@example.com", settings.mail.from);
  EXPECT_THAT(settings.mail.to, ElementsAre("a@example.com", "b@example.com", "c@example.com"));
  EXPECT_EQ("raid", settings.mail.user);
  EXPECT_EQ("/etc/secret", settings.mail.passwordFile);
  EXPECT_EQ(4, settings.mail.minSeverity);
  EXPECT_EQ(30, settings.health.interval);
  EXPECT_TRUE(settings.health.armEvents);
  EXPECT_EQ(80, settings.health.thresholds.usedWarning);
  EXPECT_EQ(95, settings.health.thresholds.usedCritical);
  EXPECT_EQ(333, settings.health.thresholds.warningTemperature);
  EXPECT_EQ(343, settings.health.thresholds.criticalTemperature);
  EXPECT_EQ("/var/m.prom", settings.metricsFile);
  EXPECT_EQ("/bin/true", settings.exec.program);
  EXPECT_EQ(5, settings.exec.timeLimit);
  EXPECT_EQ("/srv/watch.db", settings.stateFile);
}

TEST(Settings, AMarkOfTheEncodingIsSkipped) {
  EXPECT_EQ("Disks", ReadSettings("\xEF\xBB\xBF[log]\nname=Disks\n", "f").log.name);
}

TEST(Settings, ACommentBeginsWithASemicolonOrANumberSign) {
  const Settings settings =
      ReadSettings("# first\n; [mail]\n[log]\n  # name=A\n;name=B\nname=C\n#name=D\n", "f");
  EXPECT_EQ("C", settings.log.name);
  EXPECT_EQ("", settings.mail.server);
}

TEST(Settings, SmtpsHasAPortOfItsOwn) {
  EXPECT_EQ(465,
            ReadSettings("[mail]\nserver=m\nprotocol=smtps\nfrom=a@b\nto=c@d\n", "f").mail.port);
}

TEST(Settings, EachMistakeNamesFileAndLine) {
  struct Row {
    const char* text;
    const char* error;
  };
  const Row rows[] = {
      {"[log]\n\nnmae=x\n", "watch.conf:3: there is no key \"nmae\" in [log]"},
      {"\n[lgo]\nname=x\n", "watch.conf:2: there is no section [lgo]"},
      {"[log]\n[healht]\n", "watch.conf:2: there is no section [healht]"},
      {"[log]\nname=R\x1b[31m\n", "watch.conf:2: name: \"R\x1b[31m\" has a control character"},
      {"name=x\n", "watch.conf:1: name has no section"},
      {"[log]\nname=\n", "watch.conf:2: name: \"\" is empty"},
      {"[log]\nthis is nothing\n", "watch.conf:2: "},
      {"[log\n", "watch.conf:1: "},
      {"[log]\nname=a\nname=b\n", "watch.conf:3: "},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d\nport=0\n",
       "watch.conf:5: port: \"0\" is not a number of 1 to 65535"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d, nobody\n",
       "watch.conf:4: to: \"c@d, nobody\" is not a mail address"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d,\n", "watch.conf:4: to: "},
      {"[mail]\nserver=m\nfrom=a b@c\nto=c@d\n", "watch.conf:3: from: "},
      {"[mail]\nserver=m\nfrom=a@b\n", "watch.conf:2: server needs to as well"},
      {"[mail]\nserver=m\nto=c@d\n", "watch.conf:2: server needs from as well"},
      {"[mail]\nfrom=a@b\n", "watch.conf:2: from needs server as well"},
      {"[mail]\nto=c@d\n", "watch.conf:2: to needs server as well"},
      {"[mail]\nport=25\n", "watch.conf:2: port needs server as well"},
      {"[mail]\nprotocol=smtp\n", "watch.conf:2: protocol needs server as well"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d\npassword-file=/p\n",
       "watch.conf:5: password-file needs user as well"},
      {"[exec]\ntime-limit=5\n", "watch.conf:2: time-limit needs program as well"},
      {"[health]\ntemperature-warning=80\ntemperature-critical=70\n",
       "watch.conf:2: temperature-warning is larger than temperature-critical"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d\nuser=u\n",
       "watch.conf:5: user needs password-file as well"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d\nprotocol=ftp\n", "watch.conf:5: protocol: "},
      {"[health]\ninterval=soon\n",
       "watch.conf:2: interval: \"soon\" is not a number of 1 to 86400"},
      {"[health]\narm-events=true\n", "watch.conf:2: arm-events: \"true\" is neither yes nor no"},
      {"[health]\nused-warning=95\nused-critical=90\n", "watch.conf:2: used-warning is larger"},
      {"[mail]\nserver=m ; ours\nfrom=a@b\nto=c@d\n",
       "watch.conf:2: server: \"m ; ours\" has a comment, which needs a line of its own"},
      {"[health]\ninterval=5 # seconds\n", "watch.conf:2: interval: \"5 # seconds\" has a comment"},
      {"[mail]\nserver=m\nfrom=a@b\nto=c@d ; the boss\n",
       "watch.conf:4: to: \"c@d ; the boss\" is not a mail address"},
      {"[metrics]\nfile=here\n", "watch.conf:2: file: \"here\" is not an absolute path"},
      {"[log]\njournal=yes\nstore=/s\n", "watch.conf:2: journal and store exclude each other"},
  };
  for (const Row& row : rows) EXPECT_THAT(ErrorOf(row.text), StartsWith(row.error)) << row.text;
  EXPECT_THAT(ErrorOf(std::string("[log]\nname=a\0b\n", 15)), HasSubstr(":2: a zero byte"));
}

}  // namespace
}  // namespace Tool::Watch
