#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/CodeNames.h>

#include <CLI/Error.hpp>

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

const std::array kVocabularies = {
    Vocabulary{"error", "ErrorCodeNames", Ondrel::ErrorCodeNames},
    Vocabulary{"operation", "OperationCodeNames", Ondrel::OperationCodeNames},
    Vocabulary{"event", "EventCodeNames", Ondrel::EventCodeNames},
    Vocabulary{"property", "PropertyCodeNames", Ondrel::PropertyCodeNames},
    Vocabulary{"value", "ValueCodeNames", Ondrel::ValueCodeNames},
};

constexpr const char* kKinds = "error|operation|event|property|value";

using Rows = std::vector<CCodeNames::value_type>;

Rows RowsOfName(const CCodeNames& names, const std::string& wanted) {
  Rows rows;
  for (const auto& row : names)
    if (IsSameWord(row.second, wanted)) rows.push_back(row);
  return rows;
}

/// The rows that a code or a name stands for. No name is a number.
Rows RowsOf(const CCodeNames& names, const std::string& codeOrName) {
  const auto code = ParseNumber(codeOrName, std::numeric_limits<std::int32_t>::min(),
                                std::numeric_limits<std::int32_t>::max());
  if (!code) return RowsOfName(names, codeOrName);
  const auto row = names.find(static_cast<std::int32_t>(*code));
  if (row == names.end()) return {};
  return {*row};
}

Json JsonOfRows(const Rows& rows) {
  Json json = Json::object();
  for (const auto& [code, name] : rows) json[std::to_string(code)] = name;
  return json;
}

void PrintRows(const Rows& rows) {
  const std::size_t width = rows.empty() ? 0 : std::to_string(rows.back().first).size();
  for (const auto& [code, name] : rows) {
    std::cout << std::setw(static_cast<int>(width)) << code << "  "
              << (name.empty() ? "\"\"" : name) << '\n';
  }
}

const Vocabulary* FindVocabulary(const std::string& kind) {
  for (const Vocabulary& vocabulary : kVocabularies)
    if (IsSameWord(vocabulary.kind, kind) || IsSameWord(vocabulary.title, kind)) return &vocabulary;
  return nullptr;
}

CLI::Option* AddKind(CLI::App& app, const std::string& positional,
                     std::vector<const Vocabulary*>& target, const std::string& description) {
  return app
      .add_option_function<std::string>(
          positional,
          [positional, &target](const std::string& kind) {
            const Vocabulary* const vocabulary = FindVocabulary(kind);
            if (vocabulary == nullptr)
              throw CLI::ValidationError(positional, "\"" + kind + "\" is none of " + kKinds);
            target = {vocabulary};
          },
          description)
      ->type_name(kKinds);
}

struct CodeOptions {
  std::vector<const Vocabulary*> vocabulary;
  std::string codeOrName;
};

int ShowCode(const GlobalOptions& globals, const CodeOptions& options) {
  const Vocabulary& vocabulary = *options.vocabulary.front();
  const Rows rows = RowsOf(vocabulary.names, options.codeOrName);
  if (globals.json)
    PrintJson({{std::string(vocabulary.title), JsonOfRows(rows)}});
  else if (rows.empty())
    std::cout << "there is no " << vocabulary.kind << ' ' << OneLine(options.codeOrName) << '\n';
  else
    PrintRows(rows);
  return rows.empty() ? kNegativeAnswer : kDone;
}

int ListCodes(const GlobalOptions& globals, const std::vector<const Vocabulary*>& vocabularies) {
  Json json = Json::object();
  for (const Vocabulary* vocabulary : vocabularies) {
    const Rows rows(vocabulary->names.begin(), vocabulary->names.end());
    if (globals.json) {
      json[std::string(vocabulary->title)] = JsonOfRows(rows);
    } else {
      std::cout << vocabulary->title << " (" << rows.size() << ")\n";
      PrintRows(rows);
    }
  }
  if (globals.json) PrintJson(json);
  return kDone;
}

}  // namespace

Work AddCodeCommand(CLI::App& app) {
  app.footer("Exit status: 0 it is listed, 1 it is not.\n");
  const auto options = std::make_shared<CodeOptions>();
  AddKind(app, "KIND", options->vocabulary, "What the code is a number of")->required();
  app.add_option("CODE|NAME", options->codeOrName, "A number, or a name in any case")
      ->required()
      ->type_name("");
  return [options](const GlobalOptions& globals) { return ShowCode(globals, *options); };
}

Work AddCodesCommand(CLI::App& app) {
  const auto vocabularies = std::make_shared<std::vector<const Vocabulary*>>();
  for (const Vocabulary& vocabulary : kVocabularies) vocabularies->push_back(&vocabulary);
  AddKind(app, "VOCABULARY", *vocabularies, "List only this one");
  return [vocabularies](const GlobalOptions& globals) { return ListCodes(globals, *vocabularies); };
}

}  // namespace Tool
