#include "Tool/Command.h"
#include "Tool/Files.h"
#include "Tool/MailOptions.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <iostream>
#include <memory>
#include <optional>
#include <utility>

namespace Tool {

namespace {

struct LetterOptions {
  MailOptions mail;
  std::string subject;
  std::optional<std::string> bodyFile;
  std::string priority = "normal";
};

Ondrel::CSmtpXPriority PriorityOf(const std::string& name) {
  if (name == "high") return Ondrel::XPRIORITY_HIGH;
  if (name == "low") return Ondrel::XPRIORITY_LOW;
  return Ondrel::XPRIORITY_NORMAL;
}

int Send(const GlobalOptions& globals, const LetterOptions& options) {
  RequireOneLine(options.subject, "--subject");
  if (options.bodyFile == "-" && options.mail.passwordFile == "-")
    throw UsageError("--body and --password-file cannot both be standard input");
  const MailRoute route = PrepareMail(options.mail);
  MailContent content;
  content.subject = options.subject;
  if (options.bodyFile) content.body = BodyOfText(ReadWholeFile(*options.bodyFile));
  content.priority = PriorityOf(options.priority);

  const MailOutcome outcome = SendMail(route, std::move(content));
  if (globals.json)
    PrintJson(JsonOfOutcome(route, outcome));
  else
    std::cout << "Mail " << OutcomeText(route, outcome) << '\n';
  return outcome.isSent ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddMailCommand(CLI::App& app) {
  app.footer(
      "Required: --server, --mail-from, --to, --subject. What the server answered last is shown, "
      "and whether trying again may help.\n"
      "Exit status: 0 the mail was sent, 1 it was not.\n");
  const auto options = std::make_shared<LetterOptions>();
  AddMailOptions(app, options->mail, false);
  MayBeEmpty(app.add_option("--subject", options->subject, "Text of the Subject line"))
      ->required()
      ->type_name("TEXT");
  app.add_option("--body", options->bodyFile,
                 "File with the body, - for standard input; empty lines are left out")
      ->type_name("FILE");
  app.add_option("--priority", options->priority, "Priority (default: normal)")
      ->type_name("high|normal|low")
      ->check(IsOneOf({"high", "normal", "low"}));
  return [options](const GlobalOptions& globals) { return Send(globals, *options); };
}

}  // namespace Tool
