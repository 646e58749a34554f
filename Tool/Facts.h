#pragma once

#include "Tool/Output.h"

#include <Ondrel/OSInfo.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Tool {

/// Why a text is not a record of facts, and where: `offset` counts bytes from the text's start.
struct FactsError {
  std::size_t offset;
  std::string text;
};

/// Reads a record from one JSON object as `JsonOf` makes it. Fields that are not there are 0; a
/// field that no record has, or that is there twice, is refused, and so is all that does not fit
/// into the record. "jsonVersion" and "kind", if they are there, have to be 1 and "windows".
///
/// Yields nothing on success; on failure `facts` has no meaning. The time is linear in the text.
std::optional<FactsError> ReadFacts(std::string_view text, Ondrel::OS_FACTS& facts);

/// {"kind","reported":{...},"underlying":{...},"suite1",...}: the record's fields in its order.
Json JsonOf(const Ondrel::OS_FACTS& facts);

/// Appends the members of that object as text, without its braces: for many records, for each of
/// which a tree would take most of the time.
void AppendMembers(std::string& json, const Ondrel::OS_FACTS& facts);

}  // namespace Tool
