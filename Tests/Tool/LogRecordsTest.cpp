#include "Tool/LogRecords.h"

#include <gtest/gtest.h>

namespace Tool {
namespace {

using Ondrel::Host::EventLogRecord;

EventLogRecord SomeRecord() {
  EventLogRecord record;
  record.number = 7;
  record.timeGenerated = 1700000000;
  record.eventID = 10471;
  record.eventType = 1;
  record.source = "Source";
  record.computer = "host";
  record.strings = {"Text"};
  return record;
}

TEST(RecordPrinter, EachLineIsItsOwnRecordsWhateverTheOneBeforeHad) {
  struct Row {
    const char* name;
    void (*change)(EventLogRecord& record);
  };
  const Row kRows[] = {
      {"number", [](auto& record) { record.number = 8; }},
      {"time", [](auto& record) { record.timeGenerated = 1700000001; }},
      {"event", [](auto& record) { record.eventID = 10412; }},
      {"type", [](auto& record) { record.eventType = 2; }},
      {"no type", [](auto& record) { record.eventType = 0; }},
      {"source", [](auto& record) { record.source = "Other"; }},
      {"computer", [](auto& record) { record.computer = "other"; }},
      {"text", [](auto& record) { record.strings = {"Other"}; }},
  };
  for (const Row& row : kRows) {
    EventLogRecord changed = SomeRecord();
    row.change(changed);
    RecordPrinter printer("Log", false);
    const std::string before = printer.LineOf(SomeRecord());
    const std::string line = printer.LineOf(changed);

    EXPECT_NE(line, before) << row.name;
    EXPECT_EQ(line, RecordPrinter("Log", false).LineOf(changed)) << row.name;
  }
}

}  // namespace
}  // namespace Tool
