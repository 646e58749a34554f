#include "Tool/Host/Program.h"

#include "Tool/Host/Win32/Words.h"

#include <array>
#include <filesystem>
#include <thread>
#include <windows.h>

namespace Tool {

namespace {

class Handle {
public:
  explicit Handle(HANDLE handle = nullptr) : m_handle(handle) {}
  ~Handle() { Close(); }

  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE Get() const { return m_handle; }
  HANDLE* Address() { return &m_handle; }

  void Close() {
    if (m_handle != nullptr) ::CloseHandle(m_handle);
    m_handle = nullptr;
  }

private:
  HANDLE m_handle;
};

/// An interrupt at the console is for the program, which shares the console.
class IgnoredInterrupts {
public:
  IgnoredInterrupts() { ::SetConsoleCtrlHandler(Ignore, TRUE); }
  ~IgnoredInterrupts() { ::SetConsoleCtrlHandler(Ignore, FALSE); }

  IgnoredInterrupts(const IgnoredInterrupts&) = delete;
  IgnoredInterrupts& operator=(const IgnoredInterrupts&) = delete;

private:
  static BOOL WINAPI Ignore(DWORD event) {
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
  }
};

// How a program that reads its line as the C runtime does gets this word back.
std::wstring Quoted(const std::wstring& word) {
  if (!word.empty() && word.find_first_of(L" \t\n\v\"") == std::wstring::npos) return word;
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : word) {
    if (character == L'\\') {
      ++backslashes;
      continue;
    }
    // Backslashes count double in front of a quote only.
    quoted.append(character == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
    backslashes = 0;
    quoted += character;
  }
  quoted.append(backslashes * 2, L'\\');
  return quoted + L'"';
}

// The name stands in the line as it is: programs take it up to the closing quote.
std::wstring CommandLine(const ProgramCall& call) {
  std::wstring line = L"\"" + WideOf(call.program) + L"\"";
  for (const std::string& argument : call.arguments) line += L" " + Quoted(WideOf(argument));
  return line;
}

ProgramEnd Failure(ProgramEnd::Kind kind, const std::string& what, DWORD error) {
  return {.kind = kind, .reason = what + ": " + SystemErrorText(error), .hostError = error};
}

/// The file that a name stands for; empty where there is none.
std::wstring FindProgram(const std::wstring& program) {
  std::array<wchar_t, 32768> path{};
  const DWORD length = ::SearchPathW(nullptr, program.c_str(), L".exe",
                                     static_cast<DWORD>(path.size()), path.data(), nullptr);
  return length < path.size() ? std::wstring(path.data(), length) : std::wstring();
}

bool IsBatchFile(const std::wstring& path) {
  std::wstring name = path;
  while (!name.empty() && (name.back() == L'.' || name.back() == L' ')) name.pop_back();
  const std::size_t dot = name.rfind(L'.');
  if (dot == std::wstring::npos) return false;
  const std::wstring extension = name.substr(dot);
  return ::_wcsicmp(extension.c_str(), L".bat") == 0 || ::_wcsicmp(extension.c_str(), L".cmd") == 0;
}

struct NamedException {
  DWORD status;
  const char* name;
};

// Published status values by which a process ends of itself.
constexpr NamedException kExceptions[] = {
    {0x80000003, "STATUS_BREAKPOINT"},
    {0xC0000005, "STATUS_ACCESS_VIOLATION"},
    {0xC0000006, "STATUS_IN_PAGE_ERROR"},
    {0xC0000017, "STATUS_NO_MEMORY"},
    {0xC000001D, "STATUS_ILLEGAL_INSTRUCTION"},
    {0xC0000025, "STATUS_NONCONTINUABLE_EXCEPTION"},
    {0xC000008C, "STATUS_ARRAY_BOUNDS_EXCEEDED"},
    {0xC0000094, "STATUS_INTEGER_DIVIDE_BY_ZERO"},
    {0xC0000095, "STATUS_INTEGER_OVERFLOW"},
    {0xC0000096, "STATUS_PRIVILEGED_INSTRUCTION"},
    {0xC00000FD, "STATUS_STACK_OVERFLOW"},
    {0xC0000135, "STATUS_DLL_NOT_FOUND"},
    {0xC0000139, "STATUS_ENTRYPOINT_NOT_FOUND"},
    {0xC000013A, "STATUS_CONTROL_C_EXIT"},
    {0xC0000142, "STATUS_DLL_INIT_FAILED"},
    {0xC0000374, "STATUS_HEAP_CORRUPTION"},
    {0xC0000409, "STATUS_STACK_BUFFER_OVERRUN"},
};

ProgramEnd EndOf(DWORD status) {
  for (const NamedException& known : kExceptions)
    if (known.status == status)
      return {.kind = ProgramEnd::Kind::kSignalled,
              .number = static_cast<unsigned int>(status),
              .name = known.name};
  return {.kind = ProgramEnd::Kind::kExited, .number = static_cast<unsigned int>(status)};
}

/// A job that ends its processes with itself.
HANDLE MakeJob() {
  const HANDLE job = ::CreateJobObjectW(nullptr, nullptr);
  if (job == nullptr) return nullptr;
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

/// Passes the output on; ends the process when it is not taken, and yields false then.
bool PassOutput(Handle& pipe, const ProgramCall& call, HANDLE process) {
  char bytes[16384];
  DWORD size = 0;
  while (::ReadFile(pipe.Get(), bytes, sizeof bytes, &size, nullptr) && size > 0) {
    if (call.takeOutput({bytes, size})) continue;
    pipe.Close();
    constexpr UINT kEndedUnread = 141;
    ::TerminateProcess(process, kEndedUnread);
    return false;
  }
  return true;
}

}  // namespace

ProgramEnd RunProgram(const ProgramCall& call) {
  const std::wstring path = FindProgram(WideOf(call.program));
  if (path.empty()) return Failure(ProgramEnd::Kind::kNotFound, call.program, ERROR_FILE_NOT_FOUND);
  // The command processor would run it, and interpret its words.
  if (IsBatchFile(path))
    return {.kind = ProgramEnd::Kind::kNotRunnable,
            .reason = call.program +
                      ": a batch file is run by the command processor, which "
                      "interprets its words; run cmd /c yourself"};

  Handle readEnd;
  Handle writeEnd;
  if (call.takeOutput) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    if (!::CreatePipe(readEnd.Address(), writeEnd.Address(), &inherited, 0))
      return Failure(ProgramEnd::Kind::kHostFailure, "CreatePipe", ::GetLastError());
    ::SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0);
  }
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = call.takeOutput ? writeEnd.Get() : ::GetStdHandle(STD_OUTPUT_HANDLE);
  start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);

  const IgnoredInterrupts ignored;
  const Handle job(call.timeout ? MakeJob() : nullptr);
  std::wstring line = CommandLine(call);
  PROCESS_INFORMATION process{};
  if (!::CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, TRUE,
                        call.timeout ? CREATE_SUSPENDED : 0, nullptr, nullptr, &start, &process))
    return Failure(ProgramEnd::Kind::kNotRunnable, call.program, ::GetLastError());
  const Handle owner(process.hProcess);
  const Handle thread(process.hThread);
  if (job.Get() != nullptr) ::AssignProcessToJobObject(job.Get(), process.hProcess);
  if (call.timeout) ::ResumeThread(process.hThread);
  writeEnd.Close();

  std::jthread reader;
  bool isTaken = true;
  if (call.takeOutput)
    reader = std::jthread([&] { isTaken = PassOutput(readEnd, call, process.hProcess); });
  const DWORD patience =
      call.timeout ? static_cast<DWORD>(std::min<long long>(call.timeout->count(), INFINITE - 1))
                   : INFINITE;
  const bool isTimedOut = ::WaitForSingleObject(process.hProcess, patience) == WAIT_TIMEOUT;
  if (isTimedOut) {
    constexpr UINT kEndedByTimeout = 124;
    if (job.Get() == nullptr || !::TerminateJobObject(job.Get(), kEndedByTimeout))
      ::TerminateProcess(process.hProcess, kEndedByTimeout);
    ::WaitForSingleObject(process.hProcess, INFINITE);
  }
  if (reader.joinable()) reader.join();
  if (!isTaken) return {.kind = ProgramEnd::Kind::kUnread};
  if (isTimedOut) return {.kind = ProgramEnd::Kind::kTimedOut};
  DWORD status = 0;
  ::GetExitCodeProcess(process.hProcess, &status);
  return EndOf(status);
}

}  // namespace Tool
