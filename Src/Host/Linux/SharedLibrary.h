#pragma once

#include <cerrno>
#include <mutex>
#include <type_traits>

/// Libraries of the host that are loaded when the first of their functions is called.
///
/// Mail, the journal, the store, modules and partitions each bring a library along, and those bring
/// dozens more: linked plainly, they are most of what loading this library costs a program that
/// needs none of them. So each function of theirs that is called here is defined here too, under
/// its own name and from its own header, and hands its arguments on. Nothing else knows: the
/// callers are written for the libraries, tests link those themselves, and no name leaves this
/// library.
namespace Ondrel::Host {

/// What a function of a library that is not there answers: a null pointer, or the negative error
/// number that these libraries use.
template <class Result, class... Arguments>
Result Absent(Arguments...) {
  if constexpr (std::is_integral_v<Result>)
    return static_cast<Result>(-ENOSYS);
  else
    return Result();
}

/// A library, loaded at the first look for one of its functions and then kept to the end of the
/// process: some of what comes along is not made to be unloaded. Any thread may look.
class SharedLibrary {
public:
  /// `name` is the library's SONAME, with static lifetime.
  constexpr explicit SharedLibrary(const char* name) : m_name(name) {}

  /// The library's own function of this name and type, or one that fails when there is none. Why
  /// not is told by a trace line of the error level.
  template <class Result, class... Arguments>
  auto Function(Result (*)(Arguments...), const char* name) {
    void* const found = Find(name);
    return found == nullptr ? Absent<Result, Arguments...>
                            : reinterpret_cast<Result (*)(Arguments...)>(found);
  }

  /// The same as an address, null when there is none.
  void* Find(const char* name);

private:
  const char* m_name;
  std::once_flag m_once;
  void* m_handle = nullptr;
};

}  // namespace Ondrel::Host
