// The journal's library, loaded when the first line is sent to the journal: a program whose trace
// goes elsewhere is spared it and what it brings along.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "Host/Linux/OnDemand/LoadNote.h"

#include <systemd/sd-journal.h>

#include <cerrno>
#include <dlfcn.h>

namespace {

using Send = decltype(&::sd_journal_sendv);

// The library is kept to the end of the process.
Send FindSend() {
  void* const library = dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_LOCAL);
  return library == nullptr ? nullptr : reinterpret_cast<Send>(dlsym(library, "sd_journal_sendv"));
}

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(
        R"([{"soname":["libsystemd.so.0"],"feature":"journal",)"
        R"("description":"Trace lines to the journal","priority":"recommended"}])");

}  // namespace

extern "C" int sd_journal_sendv(const iovec* parts, int count) {
  static const Send send = FindSend();
  return send == nullptr ? -ENOSYS : send(parts, count);
}
