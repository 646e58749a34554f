#pragma once

#include <Pirsk/Exceptions.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// How a subcommand fails in words. Every class here ends in the same two forms: a line on standard
/// error, or under --json the object {"error":{...},"exitStatus":N} on standard output.

namespace Tool {

/// Objects keep the order in which their members are added.
using Json = nlohmann::ordered_json;

/// What comes from elsewhere is read into this kind: an object of the other kind copies its members
/// as it grows, one call in another for each level, and what nests deep would overflow the stack.
/// `dump` does the same.
using ReadJson = nlohmann::json;

/// How the command ends.
enum ExitStatus : int {
  kDone = 0,
  kNegativeAnswer = 1,  ///< The operation ran and its answer is no.
  kWrongUsage = 2,      ///< An argument cannot be used.
  kFailed = 3,          ///< The host or the library failed.
  kReaderGone = 141,    ///< Nobody reads standard output any more; what a shell reports of SIGPIPE.
};

/// A failure with its words, its details for JSON and the exit status it ends with.
class Failure : public std::runtime_error {
public:
  Failure(ExitStatus status, const std::string& words, Json details)
      : std::runtime_error(words), m_status(status), m_details(std::move(details)) {}

  ExitStatus Status() const { return m_status; }

  /// The value of "error" in JSON: kind, number, name, text and what else is known.
  const Json& Details() const { return m_details; }

private:
  ExitStatus m_status;
  Json m_details;
};

/// The command line has something that cannot be used, such as a malformed argument or a file that
/// cannot be read. Ends with 2.
class UsageError : public Failure {
public:
  explicit UsageError(const std::string& words);
};

/// The host refused something. Ends with 3.
class HostFailure : public Failure {
public:
  /// `what` says what was tried and on what: "cannot read /dev/nvme0"; `number` is the host's last
  /// error, whose published text is added.
  /// `hint` says what may be the reason; it may be empty.
  HostFailure(const std::string& what, std::uint32_t number, const std::string& hint = "");

  /// The same where the host gave no number but a reason in words.
  HostFailure(const std::string& what, const std::string& reason);
};

/// The library raised a module error. Ends with 3.
class ModuleFailure : public Failure {
public:
  /// Made in the handler that caught `number`; `touched` is what the library worked on, such as
  /// "log Demo", or empty.
  ModuleFailure(unsigned int number, const std::string& touched);

  const Pirsk::Exceptions::CErrorReport& Report() const { return m_report; }

private:
  ModuleFailure(Pirsk::Exceptions::CErrorReport report, const std::string& touched);

  Pirsk::Exceptions::CErrorReport m_report;
};

/// Makes a call of the library; a module error that it raises becomes a `ModuleFailure` that says
/// what was touched.
template <class Call>
decltype(auto) Touching(const std::string& touched, Call&& call) {
  try {
    return std::forward<Call>(call)();
  } catch (unsigned int number) {
    throw ModuleFailure(number, touched);
  }
}

/// The name of a module error, such as "CANNOT_OPEN_SYSTEM_LOG"; empty for a number that is none.
std::string_view ModuleErrorNameOf(std::uint32_t number);

/// What is known of a module error, as {"kind","number","hex","name","text","detail","touched",
/// "systemError","context"}; "systemError" is null or {"number","name","text"}.
Json JsonOfError(const Pirsk::Exceptions::CErrorReport& report, const std::string& touched = "");

/// The same in words: what was touched, text and number, then a line each for detail, system error
/// and, where nothing else says what was touched, the context. Without a line end at the end.
std::string WordsOfError(const Pirsk::Exceptions::CErrorReport& report,
                         const std::string& touched = "");

/// The context lines and source lines of a module error, for --trace; each with a line end.
std::string OriginOfError(const Pirsk::Exceptions::CErrorReport& report);

}  // namespace Tool
