#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <libkmod.h>

namespace {

constinit Ondrel::Host::SharedLibrary library("libkmod.so.2");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(
        R"([{"soname":["libkmod.so.2"],"feature":"drivers",)"
        R"("description":"Versions of kernel modules","priority":"recommended"}])");

}  // namespace

extern "C" {

kmod_ctx* kmod_new(const char* directory, const char* const* configurations) {
  static const auto function = library.Function(&::kmod_new, "kmod_new");
  return function(directory, configurations);
}

kmod_ctx* kmod_unref(kmod_ctx* context) {
  static const auto function = library.Function(&::kmod_unref, "kmod_unref");
  return function(context);
}

void kmod_set_log_priority(kmod_ctx* context, int priority) {
  static const auto function = library.Function(&::kmod_set_log_priority, "kmod_set_log_priority");
  function(context, priority);
}

int kmod_module_new_from_name(kmod_ctx* context, const char* name, kmod_module** module) {
  static const auto function =
      library.Function(&::kmod_module_new_from_name, "kmod_module_new_from_name");
  return function(context, name, module);
}

kmod_module* kmod_module_unref(kmod_module* module) {
  static const auto function = library.Function(&::kmod_module_unref, "kmod_module_unref");
  return function(module);
}

int kmod_module_get_info(const kmod_module* module, kmod_list** list) {
  static const auto function = library.Function(&::kmod_module_get_info, "kmod_module_get_info");
  return function(module, list);
}

const char* kmod_module_info_get_key(const kmod_list* entry) {
  static const auto function =
      library.Function(&::kmod_module_info_get_key, "kmod_module_info_get_key");
  return function(entry);
}

const char* kmod_module_info_get_value(const kmod_list* entry) {
  static const auto function =
      library.Function(&::kmod_module_info_get_value, "kmod_module_info_get_value");
  return function(entry);
}

void kmod_module_info_free_list(kmod_list* list) {
  static const auto function =
      library.Function(&::kmod_module_info_free_list, "kmod_module_info_free_list");
  function(list);
}

kmod_list* kmod_list_next(const kmod_list* list, const kmod_list* entry) {
  static const auto function = library.Function(&::kmod_list_next, "kmod_list_next");
  return function(list, entry);
}

}  // extern "C"
