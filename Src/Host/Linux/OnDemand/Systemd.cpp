#define SD_JOURNAL_SUPPRESS_LOCATION

#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <systemd/sd-bus.h>
#include <systemd/sd-device.h>
#include <systemd/sd-journal.h>

#include <cstdarg>

namespace {

constinit Ondrel::Host::SharedLibrary library("libsystemd.so.0");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note = Pirsk::Host::MakeLoadNote(
    R"([{"soname":["libsystemd.so.0"],"feature":"journal",)"
    R"("description":"The journal, records of devices, restart by the login manager","priority":"recommended"}])");

}  // namespace

extern "C" {

int sd_journal_sendv(const iovec* parts, int count) {
  static const auto function = library.Function(&::sd_journal_sendv, "sd_journal_sendv");
  return function(parts, count);
}

int sd_journal_open(sd_journal** journal, int flags) {
  static const auto function = library.Function(&::sd_journal_open, "sd_journal_open");
  return function(journal, flags);
}

void sd_journal_close(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_close, "sd_journal_close");
  function(journal);
}

int sd_journal_previous(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_previous, "sd_journal_previous");
  return function(journal);
}

int sd_journal_next(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_next, "sd_journal_next");
  return function(journal);
}

int sd_journal_set_data_threshold(sd_journal* journal, std::size_t size) {
  static const auto function =
      library.Function(&::sd_journal_set_data_threshold, "sd_journal_set_data_threshold");
  return function(journal, size);
}

int sd_journal_get_data(sd_journal* journal, const char* field, const void** data,
                        std::size_t* length) {
  static const auto function = library.Function(&::sd_journal_get_data, "sd_journal_get_data");
  return function(journal, field, data, length);
}

int sd_journal_seek_head(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_seek_head, "sd_journal_seek_head");
  return function(journal);
}

int sd_journal_seek_tail(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_seek_tail, "sd_journal_seek_tail");
  return function(journal);
}

int sd_journal_seek_cursor(sd_journal* journal, const char* cursor) {
  static const auto function =
      library.Function(&::sd_journal_seek_cursor, "sd_journal_seek_cursor");
  return function(journal, cursor);
}

int sd_journal_get_cursor(sd_journal* journal, char** cursor) {
  static const auto function = library.Function(&::sd_journal_get_cursor, "sd_journal_get_cursor");
  return function(journal, cursor);
}

int sd_journal_get_fd(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_get_fd, "sd_journal_get_fd");
  return function(journal);
}

int sd_journal_process(sd_journal* journal) {
  static const auto function = library.Function(&::sd_journal_process, "sd_journal_process");
  return function(journal);
}

int sd_device_new_from_devnum(sd_device** device, char type, dev_t number) {
  static const auto function =
      library.Function(&::sd_device_new_from_devnum, "sd_device_new_from_devnum");
  return function(device, type, number);
}

sd_device* sd_device_unref(sd_device* device) {
  static const auto function = library.Function(&::sd_device_unref, "sd_device_unref");
  return function(device);
}

int sd_device_get_property_value(sd_device* device, const char* key, const char** value) {
  static const auto function =
      library.Function(&::sd_device_get_property_value, "sd_device_get_property_value");
  return function(device, key, value);
}

int sd_bus_open_system(sd_bus** bus) {
  static const auto function = library.Function(&::sd_bus_open_system, "sd_bus_open_system");
  return function(bus);
}

sd_bus* sd_bus_flush_close_unref(sd_bus* bus) {
  static const auto function =
      library.Function(&::sd_bus_flush_close_unref, "sd_bus_flush_close_unref");
  return function(bus);
}

sd_bus_message* sd_bus_message_unref(sd_bus_message* message) {
  static const auto function = library.Function(&::sd_bus_message_unref, "sd_bus_message_unref");
  return function(message);
}

int sd_bus_call_method(sd_bus* bus, const char* destination, const char* path,
                       const char* interface, const char* member, sd_bus_error* error,
                       sd_bus_message** reply, const char* types, ...) {
  static const auto function = library.Function(&::sd_bus_call_methodv, "sd_bus_call_methodv");
  va_list values;
  va_start(values, types);
  const int result =
      function(bus, destination, path, interface, member, error, reply, types, values);
  va_end(values);
  return result;
}

int sd_bus_message_read(sd_bus_message* message, const char* types, ...) {
  static const auto function = library.Function(&::sd_bus_message_readv, "sd_bus_message_readv");
  va_list values;
  va_start(values, types);
  const int result = function(message, types, values);
  va_end(values);
  return result;
}

}  // extern "C"
