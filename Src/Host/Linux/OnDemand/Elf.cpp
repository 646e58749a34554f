#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <gelf.h>
#include <libelf.h>

#include <cstddef>

namespace {

constinit Ondrel::Host::SharedLibrary library("libelf.so.1");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(
        R"([{"soname":["libelf.so.1"],"feature":"messages",)"
        R"("description":"Message tables and versions in libraries","priority":"recommended"}])");

}  // namespace

extern "C" {

unsigned int elf_version(unsigned int version) {
  static const auto function = library.Function(&::elf_version, "elf_version");
  return function(version);
}

Elf* elf_begin(int descriptor, Elf_Cmd command, Elf* file) {
  static const auto function = library.Function(&::elf_begin, "elf_begin");
  return function(descriptor, command, file);
}

int elf_end(Elf* file) {
  static const auto function = library.Function(&::elf_end, "elf_end");
  return function(file);
}

Elf_Kind elf_kind(Elf* file) {
  static const auto function = library.Function(&::elf_kind, "elf_kind");
  return function(file);
}

int elf_getshdrstrndx(Elf* file, std::size_t* index) {
  static const auto function = library.Function(&::elf_getshdrstrndx, "elf_getshdrstrndx");
  return function(file, index);
}

Elf_Scn* elf_nextscn(Elf* file, Elf_Scn* section) {
  static const auto function = library.Function(&::elf_nextscn, "elf_nextscn");
  return function(file, section);
}

Elf_Data* elf_rawdata(Elf_Scn* section, Elf_Data* data) {
  static const auto function = library.Function(&::elf_rawdata, "elf_rawdata");
  return function(section, data);
}

char* elf_strptr(Elf* file, std::size_t section, std::size_t offset) {
  static const auto function = library.Function(&::elf_strptr, "elf_strptr");
  return function(file, section, offset);
}

std::size_t gelf_fsize(Elf* file, Elf_Type type, std::size_t count, unsigned int version) {
  static const auto function = library.Function(&::gelf_fsize, "gelf_fsize");
  return function(file, type, count, version);
}

GElf_Ehdr* gelf_getehdr(Elf* file, GElf_Ehdr* header) {
  static const auto function = library.Function(&::gelf_getehdr, "gelf_getehdr");
  return function(file, header);
}

GElf_Shdr* gelf_getshdr(Elf_Scn* section, GElf_Shdr* header) {
  static const auto function = library.Function(&::gelf_getshdr, "gelf_getshdr");
  return function(section, header);
}

}  // extern "C"
