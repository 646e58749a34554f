#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Suggestion.h"

#include <Ondrel/CodeNames.h>
#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>

#include <CLI/Error.hpp>

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace Tool {

namespace {

using Ondrel::CCodeNames;

struct Vocabulary {
  std::string_view kind;
  std::string_view title;
  const CCodeNames& names;
};

// What a full event id has besides the event code.
constexpr std::int64_t kEventIdBits = 0x20000000;

constexpr std::int64_t kFirstModuleError = 0x20050000;
constexpr std::int64_t kLastModuleError = 0x2005FFFF;

const std::array kVocabularies = {
    Vocabulary{"error", "ErrorCodeNames", Ondrel::ErrorCodeNames},
    Vocabulary{"operation", "OperationCodeNames", Ondrel::OperationCodeNames},
    Vocabulary{"event", "EventCodeNames", Ondrel::EventCodeNames},
    Vocabulary{"property", "PropertyCodeNames", Ondrel::PropertyCodeNames},
    Vocabulary{"value", "ValueCodeNames", Ondrel::ValueCodeNames},
};

constexpr const char* kKinds = "error|operation|event|property|value";

using Vocabularies = std::vector<const Vocabulary*>;

struct Row {
  const Vocabulary* vocabulary;
  std::int32_t code;
  std::string_view name;
};

using Rows = std::vector<Row>;

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& letter : upper)
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  return upper;
}

/// The rows whose name is `wanted`, or has it in it, in any case.
Rows RowsOfName(const Vocabularies& vocabularies, std::string_view wanted, bool isPart) {
  const std::string upper = UpperCase(wanted);
  Rows rows;
  for (const Vocabulary* const vocabulary : vocabularies) {
    for (const auto [code, name] : vocabulary->names) {
      const std::string candidate = UpperCase(name);
      const bool isWanted =
          isPart ? candidate.find(upper) != std::string::npos : candidate == upper;
      if (isWanted) rows.push_back({vocabulary, code, name});
    }
  }
  return rows;
}

/// Whether a text can only be meant as a number: no name is one.
bool IsWrittenAsNumber(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  return (isHexadecimal || !text.empty()) &&
         text.find_first_not_of(isHexadecimal ? "0123456789abcdefABCDEF" : "0123456789") ==
             std::string_view::npos;
}

/// The rows that a code, a full event id, a name or a part of one stands for. No name is a number.
Rows RowsOf(const Vocabulary& vocabulary, const std::string& wanted) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kGreatest = std::numeric_limits<std::uint32_t>::max();
  auto code = ParseNumber(wanted, kLeast, kGreatest);
  if (!code && IsWrittenAsNumber(wanted))
    throw UsageError("\"" + wanted + "\" is not a number of " + std::to_string(kLeast) + " to " +
                     std::to_string(kGreatest));
  if (!code) {
    Rows rows = RowsOfName({&vocabulary}, wanted, false);
    if (rows.empty() && !wanted.empty()) rows = RowsOfName({&vocabulary}, wanted, true);
    return rows;
  }
  if (vocabulary.kind == "event" && (*code & ~std::int64_t{0xFFFF}) == kEventIdBits)
    *code &= ~kEventIdBits;
  if (*code > std::numeric_limits<std::int32_t>::max()) return {};
  const auto row = vocabulary.names.find(static_cast<std::int32_t>(*code));
  if (row == vocabulary.names.end()) return {};
  return {{&vocabulary, row->first, row->second}};
}

Json JsonOfRows(const Rows& rows) {
  Json codes = Json::array();
  for (const Row& row : rows)
    codes.push_back({{"vocabulary", row.vocabulary->kind}, {"code", row.code}, {"name", row.name}});
  return {{"codes", codes}};
}

void PrintRows(std::ostream& out, const Rows& rows) {
  std::size_t width = 0;
  for (const Row& row : rows) width = std::max(width, std::to_string(row.code).size());
  for (const Row& row : rows) {
    out << std::setw(static_cast<int>(width)) << row.code << "  "
        << (row.name.empty() ? "\"\"" : row.name) << '\n';
  }
}

const Vocabulary& VocabularyOf(const std::string& positional, const std::string& kind) {
  std::vector<std::string> kinds;
  for (const Vocabulary& vocabulary : kVocabularies) {
    if (IsSameWord(vocabulary.kind, kind) || IsSameWord(vocabulary.title, kind)) return vocabulary;
    kinds.emplace_back(vocabulary.kind);
  }
  throw CLI::ValidationError(
      positional, "\"" + OneLine(kind) + "\" is not one of " + kKinds + Suggestion(kind, kinds));
}

CLI::Option* AddKind(CLI::App& app, const std::string& positional, Vocabularies& target,
                     const std::string& description) {
  return app
      .add_option_function<std::string>(
          positional,
          [positional, &target](const std::string& kind) {
            target = {&VocabularyOf(positional, kind)};
          },
          description)
      ->type_name(kKinds);
}

struct CodeOptions {
  Vocabularies vocabulary;
  std::string wanted;
};

/// The nearest name, for a name that nothing has.
std::string SuggestionOf(const Vocabulary& vocabulary, const std::string& wanted) {
  if (wanted.find_first_not_of("0123456789-") == std::string::npos) return "";
  std::vector<std::string> names;
  for (const auto [code, name] : vocabulary.names) names.emplace_back(name);
  return Suggestion(wanted, names);
}

int ShowModuleError(const GlobalOptions& globals, std::uint32_t number) {
  const Pirsk::Exceptions::CErrorReport report = Pirsk::Exceptions::ReportOf(number);
  const std::string_view name = ModuleErrorNameOf(number);
  const bool isKnown = !name.empty();
  Json json = {{"codes", Json::array()}};
  if (isKnown) {
    json["codes"].push_back({{"vocabulary", "module"},
                             {"code", number},
                             {"name", name},
                             {"text", report.text},
                             {"module", Pirsk::Misc::ModuleIdentity(5)}});
  }
  Answer(globals, json,
         isKnown ? WordsOfError(report) + "\n  raised by " + Pirsk::Misc::ModuleIdentity(5)
                 : "there is no module error " + std::to_string(number));
  return isKnown ? kDone : kNegativeAnswer;
}

int ShowCode(const GlobalOptions& globals, const CodeOptions& options) {
  const Vocabulary& vocabulary = *options.vocabulary.front();
  const auto module = ParseNumber(options.wanted, kFirstModuleError, kLastModuleError);
  if (module && vocabulary.kind == "error")
    return ShowModuleError(globals, static_cast<std::uint32_t>(*module));

  const Rows rows = RowsOf(vocabulary, options.wanted);
  Answer(
      globals, [&] { return JsonOfRows(rows); },
      [&](std::ostream& out) {
        PrintRows(out, rows);
        if (rows.empty())
          out << "there is no " << vocabulary.kind << ' ' << OneLine(options.wanted)
              << SuggestionOf(vocabulary, options.wanted) << '\n';
      });
  return rows.empty() ? kNegativeAnswer : kDone;
}

struct CodesOptions {
  Vocabularies vocabularies;
  std::string search;
};

int ListCodes(const GlobalOptions& globals, const CodesOptions& options) {
  const Rows rows = RowsOfName(options.vocabularies, options.search, true);
  Answer(
      globals, [&] { return JsonOfRows(rows); },
      [&](std::ostream& out) {
        for (const Vocabulary* const vocabulary : options.vocabularies) {
          Rows own;
          for (const Row& row : rows)
            if (row.vocabulary == vocabulary) own.push_back(row);
          if (own.empty()) continue;
          out << vocabulary->title << " (" << own.size() << ")\n";
          PrintRows(out, own);
        }
        if (rows.empty()) out << "no name has " << OneLine(options.search) << " in it\n";
      });
  return rows.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddCodeCommand(CLI::App& app) {
  app.footer(
      "An event may also be given by its full id (0x200028E7), an error by the number of a module "
      "error (0x20050003). A part of a name shows all names that have it in them.\n"
      "Exit status: 0 it is listed, 1 it is not.\n");
  const auto options = std::make_shared<CodeOptions>();
  AddKind(app, "KIND", options->vocabulary, "what the code is a number of")->required();
  // One code's name is empty.
  MayBeEmpty(
      app.add_option("CODE|NAME", options->wanted, "Number, or name or part of one in any case"))
      ->required()
      ->type_name("");
  return [options](const GlobalOptions& globals) { return ShowCode(globals, *options); };
}

Work AddCodesCommand(CLI::App& app) {
  app.footer("Exit status: 0 there are some, 1 no name has the text in it.\n");
  const auto options = std::make_shared<CodesOptions>();
  for (const Vocabulary& vocabulary : kVocabularies) options->vocabularies.push_back(&vocabulary);
  AddKind(app, "VOCABULARY", options->vocabularies, "list only this one");
  app.add_option("--search", options->search, "List only names that have this in them, in any case")
      ->type_name("TEXT");
  return [options](const GlobalOptions& globals) { return ListCodes(globals, *options); };
}

}  // namespace Tool
