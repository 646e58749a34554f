#pragma once

#include "Support/EventStoreFixture.h"
#include "Support/Pipe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// A process of the test's own that runs `body` and ends with what it yields; it is ended with the
/// object at the latest. No handle of the event log may be open when it starts.
class ChildProcess {
public:
  explicit ChildProcess(const std::function<int()>& body) : m_process(fork()) {
    if (m_process < 0) throw std::runtime_error("fork");
    if (m_process > 0) return;
    int status = 99;
    try {
      status = body();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "child: %s\n", failure.what());
    }
    _exit(status);
  }
  ~ChildProcess() {
    if (m_process > 0) Kill();
  }

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The exit status, or minus the signal that ended it.
  int Wait() {
    int status = 0;
    waitpid(std::exchange(m_process, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  int Kill() {
    kill(m_process, SIGKILL);
    return Wait();
  }

private:
  pid_t m_process;
};

/// A pipe of numbers from one process to another.
class NumberPipe {
public:
  void Put(int number) {
    if (write(m_pipe.writing.Number(), &number, sizeof number) != sizeof number)
      throw std::runtime_error("write");
  }

  /// False at the end, which comes when no process can write any more.
  bool Get(int& number) {
    return read(m_pipe.reading.Number(), &number, sizeof number) == sizeof number;
  }

  void CloseReading() { m_pipe.reading.Close(); }
  void CloseWriting() { m_pipe.writing.Close(); }

private:
  Pipe m_pipe;
};

/// What the command line tool of SQLite says about a file.
inline std::string AskSqlite(const std::string& path, const std::string& sql) {
  const std::string command = "sqlite3 '" + path + "' '" + sql + "' 2>&1";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  std::string text;
  for (int byte = 0; output && (byte = std::fgetc(output.get())) != EOF;)
    text += static_cast<char>(byte);
  return text;
}

/// An event store that several processes use.
class EventStoreProcessesFixture : public EventStoreFixture {
protected:
  using EventStoreFixture::EventStoreFixture;

  /// All records of a log, followed until there are `count`.
  std::vector<ReadRecord> Follow(const char* name, std::size_t count) {
    const LogHandle log(Operations(), name);
    std::vector<ReadRecord> all;
    while (all.size() < count) {
      const ReadOutcome outcome = log.Read(kSequentialForwards);
      if (outcome.error != 0 && outcome.error != ERROR_HANDLE_EOF)
        throw std::runtime_error("read failed with " + std::to_string(outcome.error));
      // A reader that never rests would take the processor from the writers it waits for.
      if (outcome.error != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      for (const ReadRecord& record : RecordsIn(outcome.bytes)) all.push_back(record);
    }
    return all;
  }

  /// Reports "WRITER NUMBER" for numbers from 0 on, `reported` hearing how many there are by then.
  /// Yields 1 when one failed.
  int WriteAll(
      const char* log, int writer, int count,
      const std::function<void(int)>& reported = [](int) {}) {
    // A busy machine may keep the lock away for longer than an operation waits.
    auto source = std::make_unique<SourceHandle>(Operations(), log);
    for (int tries = 0; source->Get() == nullptr && tries < 20; ++tries) {
      if (Operations().GetLastError() != ERROR_LOCK_VIOLATION) break;
      source = std::make_unique<SourceHandle>(Operations(), log);
    }
    if (source->Get() == nullptr) {
      std::fprintf(stderr, "writer %d: no source: %u\n", writer, Operations().GetLastError());
      return 1;
    }
    for (int i = 0; i < count; ++i) {
      ULong error = ERROR_LOCK_VIOLATION;
      for (int tries = 0; error == ERROR_LOCK_VIOLATION && tries < 20; ++tries)
        error = source->Report(std::to_string(writer) + " " + std::to_string(i));
      if (error != 0) {
        std::fprintf(stderr, "writer %d: report %d failed with %u\n", writer, i, error);
        return 1;
      }
      reported(i + 1);
    }
    return 0;
  }

  void ExpectSound() {
    EXPECT_EQ(AskSqlite(Path(), "PRAGMA journal_mode; PRAGMA integrity_check;"), "wal\nok\n");
  }
};

/// Each writer's numbers in the order of the records, all of which are numbered without a gap.
inline std::map<int, std::vector<int>> ByWriter(const std::vector<ReadRecord>& records) {
  std::map<int, std::vector<int>> numbers;
  ULong expected = records.empty() ? 0 : records.front().number;
  for (const ReadRecord& record : records) {
    EXPECT_EQ(record.number, expected++);
    int writer = 0;
    int number = 0;
    EXPECT_EQ(std::sscanf(record.strings.at(0).c_str(), "%d %d", &writer, &number), 2);
    numbers[writer].push_back(number);
  }
  return numbers;
}

inline std::vector<int> NumbersBelow(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i);
  return numbers;
}

}  // namespace Ondrel::Testing
