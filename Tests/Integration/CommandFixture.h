#pragma once

#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// The JSON that the command printed, without the version that every object begins with.
inline nlohmann::json ParseAnswer(const std::string& output) {
  nlohmann::json answer = nlohmann::json::parse(output);
  EXPECT_EQ(answer.value("jsonVersion", 0), 1) << output;
  answer.erase("jsonVersion");
  return answer;
}

/// Runs the built command, each test with a folder and an event store of its own.
class CommandFixture : public testing::Test {
protected:
  std::string Path(const std::string& name) const { return m_folder.Path(name); }

  /// The arguments after those that choose the test's own store.
  std::vector<std::string> WithStore(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--store", Path("events.db")});
    return arguments;
  }

  /// Runs the command to its end.
  ProcessResult Run(const std::vector<std::string>& arguments,
                    const std::string& input = "") const {
    return RunProcess(ONDREL_COMMAND, WithStore(arguments), input);
  }

  /// Starts the command beside the test.
  std::unique_ptr<Process> Start(const std::vector<std::string>& arguments) const {
    return std::make_unique<Process>(ONDREL_COMMAND, WithStore(arguments));
  }

  /// Writes an event into the log Demo.
  void Report(const std::string& event, const std::string& type, const std::string& text) const {
    const ProcessResult result = Run({"log", "report", "Demo", event, type, text});
    ASSERT_EQ(result.exitStatus, 0) << result.errors;
  }

  std::string WriteFile(const std::string& name, const std::string& content) const {
    return m_folder.Write(name, content);
  }

private:
  TemporaryFolder m_folder;
};

}  // namespace Ondrel::Testing
