#include "Tool/Help.h"

#include "Tool/Options.h"

#include <CLI/Option.hpp>

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

namespace Tool {

namespace {

constexpr std::size_t kLeftColumn = 24;

/// Appends `text` in lines of at most `kHelpWidth`, those after the first set in by `indent`.
/// `column` is where the text starts. A word that is longer than a line stands on one of its own.
void AppendWrapped(std::string& target, const std::string& text, std::size_t column,
                   std::size_t indent) {
  std::istringstream words(text);
  bool isFirst = true;
  for (std::string word; words >> word;) {
    if (!isFirst && column + 1 + word.size() > kHelpWidth) {
      target += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!isFirst) {
      target += ' ';
      ++column;
    }
    target += word;
    column += word.size();
    isFirst = false;
  }
  target += '\n';
}

/// A line end ends a paragraph; a line that begins with a space stays as it is.
void AppendNotes(std::string& target, const std::string& notes) {
  std::istringstream lines(notes);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(' ') || line.empty())
      target += line + '\n';
    else
      AppendWrapped(target, line, 0, 0);
  }
}

using Row = HelpPage::Row;

void AppendRows(std::string& target, const std::string& title, const std::vector<Row>& rows) {
  if (rows.empty()) return;
  target += '\n' + title + ":\n";
  for (const auto& [left, right] : rows) {
    target += "  " + left;
    std::size_t column = 2 + left.size();
    if (column + 2 > kLeftColumn) {
      target += '\n';
      column = 0;
    }
    target += std::string(kLeftColumn - column, ' ');
    AppendWrapped(target, right, kLeftColumn, kLeftColumn);
  }
}

std::string OptionLabel(const CLI::Option& option) {
  std::string label;
  for (const std::string& name : option.get_snames()) label += (label.empty() ? "-" : ", -") + name;
  for (const std::string& name : option.get_lnames())
    label += (label.empty() ? "--" : ", --") + name;
  if (option.get_items_expected_max() > 0 && !option.get_type_name().empty())
    label += ' ' + option.get_type_name();
  return label;
}

std::string PositionalDescription(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  // Any text or number is what a reader expects.
  const bool isNamed = type.empty() || type == option.get_name() || type == "TEXT" || type == "N";
  return (isNamed ? "" : type + ": ") + option.get_description();
}

std::vector<Row> OptionRows(const CLI::App& app, const std::string& group) {
  std::vector<Row> rows;
  for (const CLI::Option* const option : app.get_options())
    if (!option->get_positional() && option->get_group() == group)
      rows.emplace_back(OptionLabel(*option), option->get_description());
  return rows;
}

std::string UsageLine(const CLI::App& app, const std::string& path,
                      std::span<const Subcommand> members, std::string_view words) {
  std::string usage = path + " [OPTION]...";
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional()) {
      if (option->get_required()) usage += ' ' + OptionLabel(*option);
      continue;
    }
    const std::string name = option->get_name();
    usage += option->get_required() ? ' ' + name : " [" + name + "]";
    if (option->get_items_expected_max() > 1) usage += "...";
  }
  if (!members.empty()) usage += " SUBCOMMAND [ARGUMENT]...";
  if (!words.empty()) usage.append(" ").append(words);
  return usage;
}

}  // namespace

HelpPage HelpOf(const CLI::App& app, const std::string& path, std::span<const Subcommand> members,
                std::string_view words) {
  HelpPage page{.path = path,
                .summary = app.get_description(),
                .usage = UsageLine(app, path, members, words),
                .arguments = {},
                .subcommands = {},
                .options = OptionRows(app, "Options"),
                .globalOptions = OptionRows(app, kGlobalGroup),
                .notes = app.get_footer()};
  for (const CLI::Option* const option : app.get_options())
    if (option->get_positional())
      page.arguments.emplace_back(option->get_name(), PositionalDescription(*option));
  for (const Subcommand& member : members)
    page.subcommands.emplace_back(std::string(member.name), std::string(member.summary));
  return page;
}

std::string HelpText(const HelpPage& page) {
  std::string text;
  AppendWrapped(text, page.summary, 0, 0);
  text += "\nUsage: ";
  AppendWrapped(text, page.usage, 7, 9);
  AppendRows(text, "Arguments", page.arguments);
  AppendRows(text, "Subcommands", page.subcommands);
  AppendRows(text, "Options", page.options);
  AppendRows(text, kGlobalGroup, page.globalOptions);
  if (!page.notes.empty()) {
    text += '\n';
    AppendNotes(text, page.notes);
  }
  return text;
}

Json HelpJson(const HelpPage& page) {
  const auto rows = [](const std::vector<Row>& all) {
    Json list = Json::array();
    for (const auto& [name, text] : all) list.push_back({{"name", name}, {"text", text}});
    return list;
  };
  return {{"command", page.path},
          {"summary", page.summary},
          {"usage", page.usage},
          {"arguments", rows(page.arguments)},
          {"subcommands", rows(page.subcommands)},
          {"options", rows(page.options)},
          {"globalOptions", rows(page.globalOptions)},
          {"notes", page.notes}};
}

}  // namespace Tool
