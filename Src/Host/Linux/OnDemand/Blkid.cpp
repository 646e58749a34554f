#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <blkid/blkid.h>

namespace {

constinit Ondrel::Host::SharedLibrary library("libblkid.so.1");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(
        R"([{"soname":["libblkid.so.1"],"feature":"partitions",)"
        R"("description":"Labels that the device manager does not know","priority":"recommended"}])");

}  // namespace

extern "C" {

blkid_probe blkid_new_probe_from_filename(const char* path) {
  static const auto function =
      library.Function(&::blkid_new_probe_from_filename, "blkid_new_probe_from_filename");
  return function(path);
}

void blkid_free_probe(blkid_probe probe) {
  static const auto function = library.Function(&::blkid_free_probe, "blkid_free_probe");
  function(probe);
}

int blkid_probe_enable_superblocks(blkid_probe probe, int enable) {
  static const auto function =
      library.Function(&::blkid_probe_enable_superblocks, "blkid_probe_enable_superblocks");
  return function(probe, enable);
}

int blkid_probe_set_superblocks_flags(blkid_probe probe, int flags) {
  static const auto function =
      library.Function(&::blkid_probe_set_superblocks_flags, "blkid_probe_set_superblocks_flags");
  return function(probe, flags);
}

int blkid_do_safeprobe(blkid_probe probe) {
  static const auto function = library.Function(&::blkid_do_safeprobe, "blkid_do_safeprobe");
  return function(probe);
}

int blkid_probe_lookup_value(blkid_probe probe, const char* name, const char** value,
                             std::size_t* length) {
  static const auto function =
      library.Function(&::blkid_probe_lookup_value, "blkid_probe_lookup_value");
  return function(probe, name, value, length);
}

}  // extern "C"
