#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <libmount/libmount.h>

namespace {

constinit Ondrel::Host::SharedLibrary library("libmount.so.1");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(
        R"([{"soname":["libmount.so.1"],"feature":"partitions",)"
        R"("description":"Mount paths of volumes","priority":"recommended"}])");

}  // namespace

extern "C" {

libmnt_table* mnt_new_table_from_file(const char* path) {
  static const auto function =
      library.Function(&::mnt_new_table_from_file, "mnt_new_table_from_file");
  return function(path);
}

void mnt_unref_table(libmnt_table* table) {
  static const auto function = library.Function(&::mnt_unref_table, "mnt_unref_table");
  function(table);
}

libmnt_iter* mnt_new_iter(int direction) {
  static const auto function = library.Function(&::mnt_new_iter, "mnt_new_iter");
  return function(direction);
}

void mnt_free_iter(libmnt_iter* iterator) {
  static const auto function = library.Function(&::mnt_free_iter, "mnt_free_iter");
  function(iterator);
}

int mnt_table_next_fs(libmnt_table* table, libmnt_iter* iterator, libmnt_fs** fileSystem) {
  static const auto function = library.Function(&::mnt_table_next_fs, "mnt_table_next_fs");
  return function(table, iterator, fileSystem);
}

const char* mnt_fs_get_source(libmnt_fs* fileSystem) {
  static const auto function = library.Function(&::mnt_fs_get_source, "mnt_fs_get_source");
  return function(fileSystem);
}

const char* mnt_fs_get_target(libmnt_fs* fileSystem) {
  static const auto function = library.Function(&::mnt_fs_get_target, "mnt_fs_get_target");
  return function(fileSystem);
}

const char* mnt_fs_get_root(libmnt_fs* fileSystem) {
  static const auto function = library.Function(&::mnt_fs_get_root, "mnt_fs_get_root");
  return function(fileSystem);
}

dev_t mnt_fs_get_devno(libmnt_fs* fileSystem) {
  static const auto function = library.Function(&::mnt_fs_get_devno, "mnt_fs_get_devno");
  return function(fileSystem);
}

}  // extern "C"
