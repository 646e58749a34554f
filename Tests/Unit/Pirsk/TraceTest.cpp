#include "TestModule.h"
#include "Unit/Pirsk/Host/Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Pirsk::Testing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TraceLines : public testing::Test {
protected:
  void TearDown() override { Trace::SetSink(nullptr); }

  // A sink that keeps the messages.
  Trace::Sink Keeping(std::vector<std::string>& texts) {
    return [&texts](const Trace::Line& line) { texts.push_back(line.text); };
  }
};

TEST_F(TraceLines, LineCarriesItsOriginAndItsMessage) {
  const auto before = std::chrono::system_clock::now();
  int calls = 0;
  Trace::SetSink([&](const Trace::Line& line) {
    ++calls;
    EXPECT_GE(line.time, before);
    EXPECT_LE(line.time, std::chrono::system_clock::now());
    EXPECT_EQ(line.thread, ThreadNumber());
    EXPECT_EQ(line.level, 2u);
    EXPECT_STREQ(line.module, "testmodule");
    EXPECT_STREQ(line.file, "Src/Traced.cpp");
    EXPECT_STREQ(line.function, "Testing::Traced");
    EXPECT_EQ(line.line, 42u);
    EXPECT_EQ(line.text, "LEAVE x, return: y\n");
  });

  TraceLine(Misc::kTraceEntry, "LEAVE x, return: %s\n", "y");

  EXPECT_EQ(calls, 1);
}

TEST_F(TraceLines, LineWithoutAMessageIsALine) {
  std::vector<std::string> texts;
  Trace::SetSink(Keeping(texts));

  { const Internals::CTraceStreamBuffer buffer(1, g_module, "f", "g", 1); }

  EXPECT_THAT(texts, ElementsAre(""));
}

TEST_F(TraceLines, NumberOfAThreadIsItsOwn) {
  std::vector<std::uint64_t> threads;
  Trace::SetSink([&threads](const Trace::Line& line) { threads.push_back(line.thread); });

  TraceLine(16, "x");
  std::thread([] { TraceLine(16, "x"); }).join();

  ASSERT_EQ(threads.size(), 2u);
  EXPECT_NE(threads[0], threads[1]);
}

TEST_F(TraceLines, LinesGoNowhereWithoutASink) {
  std::vector<std::string> texts;
  Trace::SetSink(Keeping(texts));
  Trace::SetSink(nullptr);

  TraceLine(16, "x");

  EXPECT_THAT(texts, IsEmpty());
}

struct Shown {
  const char* name;
  std::uint32_t level;
  std::string text;
  std::string expected;
};

class ShownLine : public testing::TestWithParam<Shown> {};

TEST_P(ShownLine, IsOneLine) {
  const Trace::Line line{.time = {},
                         .thread = 4711,
                         .level = GetParam().level,
                         .module = "ondrel",
                         .file = "/home/x/Src/ESmtp/Smtp.cpp",
                         .function = "Ondrel::CSmtp::Send",
                         .line = 99,
                         .text = GetParam().text};

  EXPECT_EQ(line.str(), GetParam().expected);
}

const Shown kShown[] = {
    {"Error", 1, "failed", "error ondrel [4711] Smtp.cpp:99 failed"},
    {"Entry", 2, "ENTER x ()", "entry ondrel [4711] Smtp.cpp:99 ENTER x ()"},
    {"Detail", 16, "fact", "detail ondrel [4711] Smtp.cpp:99 fact"},
    {"OtherLevel", 32, "x", "32 ondrel [4711] Smtp.cpp:99 x"},
    {"OwnLineEndGoes", 1, "failed\n", "error ondrel [4711] Smtp.cpp:99 failed"},
    {"LineEndsWithinAreEscaped", 16, "a\r\nb\r\n", "detail ondrel [4711] Smtp.cpp:99 a\\r\\nb"},
    {"ControlCharactersAreEscaped", 16, std::string("\x1B[2J\x7F\0", 6),
     "detail ondrel [4711] Smtp.cpp:99 \\x1b[2J\\x7f\\x00"},
    {"TabAndUtf8Stay", 16, "a\tb\xC3\xA4", "detail ondrel [4711] Smtp.cpp:99 a\tb\xC3\xA4"},
};

INSTANTIATE_TEST_SUITE_P(Rows, ShownLine, testing::ValuesIn(kShown),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TraceLines, LineWhoseSinkThrowsIsLostAndCounted) {
  std::vector<std::string> texts;
  Trace::SetSink([&texts](const Trace::Line& line) {
    if (line.text == "bad") throw std::runtime_error("disk full");
    if (line.text == "number") throw 7;
    texts.push_back(line.text);
  });
  const std::uint64_t before = Trace::LostLines();

  TraceLine(16, "first");
  TraceLine(16, "bad");
  TraceLine(16, "number");
  TraceLine(16, "last");

  EXPECT_THAT(texts, ElementsAre("first", "last"));
  EXPECT_EQ(Trace::LostLines() - before, 2u);
}

TEST_F(TraceLines, WhatASinkTracesIsDropped) {
  std::vector<std::string> texts;
  Trace::SetSink([&texts](const Trace::Line& line) {
    TraceLine(16, "from the sink");
    texts.push_back(line.text);
  });

  TraceLine(16, "outside");
  TraceLine(16, "outside again");

  EXPECT_THAT(texts, ElementsAre("outside", "outside again"));
}

TEST_F(TraceLines, EarlierSinkIsDestroyedWhenAnotherIsSet) {
  auto used = std::make_shared<int>();
  Trace::SetSink([used](const Trace::Line&) {});
  ASSERT_EQ(used.use_count(), 2);

  Trace::SetSink(nullptr);

  EXPECT_EQ(used.use_count(), 1);
}

TEST_F(TraceLines, SinkMayTraceAndSetASinkWhileItIsDestroyed) {
  std::vector<std::string> texts;
  const auto action = [this, &texts] {
    TraceLine(16, "farewell");
    Trace::SetSink(Keeping(texts));
  };
  Trace::SetSink([end = std::make_shared<AtEnd<decltype(action)>>(action)](const Trace::Line&) {});

  Trace::SetSink(Keeping(texts));

  TraceLine(16, "next");
  EXPECT_THAT(texts, ElementsAre("farewell", "next"));
}

TEST_F(TraceLines, SinkMayChooseAnotherSink) {
  std::vector<std::string> texts;
  auto used = std::make_shared<int>();
  Trace::SetSink([this, &texts, used](const Trace::Line&) {
    Trace::SetSink(Keeping(texts));
    EXPECT_EQ(used.use_count(), 2);  // The running sink is still there.
  });

  TraceLine(16, "for the first");
  EXPECT_EQ(used.use_count(), 1);
  TraceLine(16, "for the second");

  EXPECT_THAT(texts, ElementsAre("for the second"));
}

TEST_F(TraceLines, SinkMayChooseSinksSeveralTimesInOneCall) {
  std::vector<std::string> texts;
  auto used = std::make_shared<int>();
  Trace::SetSink([this, &texts](const Trace::Line&) {
    Trace::SetSink(nullptr);
    Trace::SetSink([](const Trace::Line&) {});
    Trace::SetSink(Keeping(texts));
  });

  TraceLine(16, "for the first");
  TraceLine(16, "for the last");

  EXPECT_THAT(texts, ElementsAre("for the last"));
}

TEST_F(TraceLines, SettingASinkWaitsForARunningCallOfTheEarlier) {
  std::promise<void> isRunning;
  std::promise<void> mayEnd;
  std::atomic<bool> hasEnded{false};
  Trace::SetSink([&](const Trace::Line&) {
    isRunning.set_value();
    mayEnd.get_future().wait();
    hasEnded = true;
  });
  std::thread tracing([] { TraceLine(16, "x"); });
  isRunning.get_future().wait();

  std::thread setting([&] {
    Trace::SetSink(nullptr);
    EXPECT_TRUE(hasEnded);
  });
  mayEnd.set_value();

  setting.join();
  tracing.join();
}

TEST_F(TraceLines, ErrorNumberIsKeptOverTheWholeStatement) {
  Trace::SetSink([](const Trace::Line&) {
    errno = EIO;
    throw std::runtime_error("failed");
  });

  errno = ENOENT;
  {
    Internals::CTraceStreamBuffer buffer(16, g_module, "f", "g", 1);
    Output_Streams::CFormatStream stream = buffer.Format("%s %s");
    errno = ENOMEM;  // As an allocation of the message may leave it.
    stream << "a" << std::string(100000, 'b');
  }

  EXPECT_EQ(errno, ENOENT);
}

TEST_F(TraceLines, ErrorNumberIsKeptWithoutASink) {
  errno = EPERM;
  TraceLine(16, "%s", "x");
  EXPECT_EQ(errno, EPERM);
}

}  // namespace
}  // namespace Pirsk::Testing
