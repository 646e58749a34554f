#include "Tool/Command.h"
#include "Tool/MailOptions.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <CLI/Validators.hpp>

#include <iostream>
#include <memory>

namespace Tool {

namespace {

struct LetterOptions {
  MailOptions mail;
  std::string subject;
  std::string bodyFile;
  std::string priority = "normal";
};

Ondrel::CSmtpXPriority PriorityOf(const std::string& name) {
  if (name == "high") return Ondrel::XPRIORITY_HIGH;
  if (name == "low") return Ondrel::XPRIORITY_LOW;
  return Ondrel::XPRIORITY_NORMAL;
}

int Send(const GlobalOptions& globals, const LetterOptions& options) {
  MailContent content;
  content.subject = options.subject;
  if (!options.bodyFile.empty()) content.body = ReadWholeFile(options.bodyFile);
  content.priority = PriorityOf(options.priority);

  const MailOutcome outcome = SendMail(options.mail, content);
  if (globals.json)
    PrintJson(JsonOfOutcome(outcome));
  else
    std::cout << "Mail " << OutcomeText(options.mail, outcome) << '\n';
  return outcome.isSent ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddMailCommand(CLI::App& app) {
  app.footer("Exit status: 0 the mail was sent, 1 it was not.\n");
  const auto options = std::make_shared<LetterOptions>();
  AddMailOptions(app, options->mail, false);
  app.add_option("--subject", options->subject, "Text of the Subject line")
      ->required()
      ->type_name("TEXT")
      ->check(IsOneLine());
  app.add_option("--body", options->bodyFile,
                 "File with the body, - for standard input; empty lines are left out")
      ->type_name("FILE");
  app.add_option("--priority", options->priority, "Priority (default: normal)")
      ->type_name("high|normal|low")
      ->check(CLI::IsMember({"high", "normal", "low"}).description(""));
  return [options](const GlobalOptions& globals) {
    ReadPassword(options->mail);
    return Send(globals, *options);
  };
}

}  // namespace Tool
