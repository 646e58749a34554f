#include "Tool/Command.h"
#include "Tool/Files.h"
#include "Tool/NVMeFields.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <Ondrel/NVMeQuery.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Tool {

namespace {

using Image = std::vector<std::uint8_t>;

constexpr std::size_t kErrorEntries = 64;
constexpr std::uint8_t kUnlikelyByte = 0xEE;

struct RecordOptions {
  std::string device;
  std::string raw;
  std::string save;
  std::uint8_t logId = 0;
};

/// What a subcommand shows: how its bytes are fetched, and how they are shown.
struct RecordKind {
  std::size_t size;
  unsigned int (*fetch)(const RecordOptions& options, Image& image);
  void (*show)(const GlobalOptions& globals, const RecordOptions& options, Image& image);
};

template <class Record>
Record& RecordIn(Image& image) {
  return *reinterpret_cast<Record*>(image.data());
}

Json JsonOfSource(const RecordOptions& options) {
  if (options.raw.empty()) return {{"device", options.device}};
  return {{"file", options.raw}};
}

/// Shows one record under `name` in JSON; `withNames` shows a person the mnemonics too.
void ShowFields(const GlobalOptions& globals, const RecordOptions& options, const char* name,
                const Fields& fields, bool withNames) {
  if (!globals.json) {
    fields.Print(std::cout, withNames);
    return;
  }
  Json json = JsonOfSource(options);
  json[name] = fields.AsJson();
  PrintJson(json);
}

unsigned int FetchController(const RecordOptions& options, Image& image) {
  return Ondrel::NVMeStorageQueryPropertyIdentifyController(
      options.device.c_str(), &RecordIn<Ondrel::NVME_IDENTIFY_CONTROLLER>(image));
}

void ShowController(const GlobalOptions& globals, const RecordOptions& options, Image& image) {
  ShowFields(globals, options, "controller",
             FieldsOf(RecordIn<Ondrel::NVME_IDENTIFY_CONTROLLER>(image)), true);
}

unsigned int FetchNamespace(const RecordOptions& options, Image& image) {
  return Ondrel::NVMeStorageQueryPropertyIdentifyNamespace(
      options.device.c_str(), &RecordIn<Ondrel::NVME_IDENTIFY_NAMESPACE>(image));
}

void ShowNamespace(const GlobalOptions& globals, const RecordOptions& options, Image& image) {
  ShowFields(globals, options, "namespace",
             FieldsOf(RecordIn<Ondrel::NVME_IDENTIFY_NAMESPACE>(image)), true);
}

unsigned int FetchHealth(const RecordOptions& options, Image& image) {
  return Ondrel::NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
      options.device.c_str(), &RecordIn<Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG>(image));
}

void ShowHealth(const GlobalOptions& globals, const RecordOptions& options, Image& image) {
  ShowFields(globals, options, "health",
             FieldsOf(RecordIn<Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG>(image)), false);
}

unsigned int FetchErrors(const RecordOptions& options, Image& image) {
  Ondrel::ULong count = 0;
  const unsigned int error = Ondrel::NVMeStorageQueryPropertyGetLogPageErrorInfo(
      options.device.c_str(), count, &RecordIn<Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY>(image));
  // Entries that the device did not report are none.
  if (error == 0 && count < kErrorEntries) {
    std::fill(image.begin() + static_cast<std::ptrdiff_t>(
                                  count * sizeof(Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY)),
              image.end(), std::uint8_t{0});
  }
  return error;
}

void ShowErrors(const GlobalOptions& globals, const RecordOptions& options, Image& image) {
  auto* const entries = &RecordIn<Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY>(image);
  std::vector<Fields> errors;
  for (std::size_t index = 0; index < kErrorEntries; ++index)
    if (entries[index].ErrorCount != 0) errors.push_back(FieldsOf(entries[index]));
  if (!globals.json) {
    if (errors.empty()) std::cout << "there are no errors in the log\n";
    for (const Fields& error : errors) {
      if (&error != &errors.front()) std::cout << '\n';
      error.Print(std::cout, false);
    }
    return;
  }
  Json json = JsonOfSource(options);
  json["errors"] = Json::array();
  for (const Fields& error : errors) json["errors"].push_back(error.AsJson());
  PrintJson(json);
}

unsigned int FetchPage(const RecordOptions& options, Image& image) {
  return Ondrel::NVMeStorageQueryPropertyGetVendorSpecificLogPage(options.device.c_str(),
                                                                  options.logId, image.data());
}

void PrintDump(const Image& image) {
  constexpr std::size_t kLineBytes = 16;
  std::ostringstream dump;
  dump << std::hex << std::setfill('0');
  for (std::size_t start = 0; start < image.size(); start += kLineBytes) {
    dump << std::setw(4) << start;
    std::string text;
    for (std::size_t index = start; index < start + kLineBytes; ++index) {
      const std::uint8_t byte = image[index];
      dump << ' ' << std::setw(2) << unsigned{byte};
      text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    dump << "  " << text << '\n';
  }
  std::cout << dump.str();
}

void ShowPage(const GlobalOptions& globals, const RecordOptions& options, Image& image) {
  if (!globals.json) {
    PrintDump(image);
    return;
  }
  Json json = JsonOfSource(options);
  if (options.raw.empty()) json["logId"] = options.logId;
  json["bytes"] = HexOf(image);
  PrintJson(json);
}

constexpr RecordKind kController{sizeof(Ondrel::NVME_IDENTIFY_CONTROLLER), FetchController,
                                 ShowController};
constexpr RecordKind kNamespace{sizeof(Ondrel::NVME_IDENTIFY_NAMESPACE), FetchNamespace,
                                ShowNamespace};
constexpr RecordKind kHealth{sizeof(Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG), FetchHealth,
                             ShowHealth};
constexpr RecordKind kErrors{kErrorEntries * sizeof(Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY),
                             FetchErrors, ShowErrors};
constexpr RecordKind kPage{512, FetchPage, ShowPage};

/// What a host error of a query may come from.
struct ErrorHint {
  unsigned int number;
  const char* text;
};

constexpr std::array kErrorHints = {
    ErrorHint{1, "is it an NVMe device?"},
    ErrorHint{24, "the lengths in the device's answer do not fit"},
    ErrorHint{87, "the controller may not have it"},
};

[[noreturn]] void RefuseDevice(const RecordOptions& options, unsigned int number) {
  const auto* const known = std::ranges::find(kErrorHints, number, &ErrorHint::number);
  throw HostFailure("cannot read " + OneLine(options.device), number,
                    known != kErrorHints.end() ? known->text : "");
}

Image ReadImage(const RecordKind& kind, const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  if (bytes.size() != kind.size)
    throw UsageError(path + " is not an image of " + std::to_string(kind.size) + " bytes");
  return {bytes.begin(), bytes.end()};
}

void SaveImage(const Image& image, const std::string& path) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(image.data()),
             static_cast<std::streamsize>(image.size()));
  file.flush();
  if (!file)
    throw HostFailure("cannot write " + OneLine(path),
                      errno != 0 ? std::strerror(errno) : "the file is not complete");
}

int ShowRecord(const GlobalOptions& globals, const RecordOptions& options, const RecordKind& kind) {
  Image image(kind.size, kUnlikelyByte);
  if (!options.raw.empty()) {
    image = ReadImage(kind, options.raw);
  } else {
    const Image before = image;
    const Progress progress("asking " + OneLine(options.device));
    const unsigned int error = kind.fetch(options, image);
    if (error != 0) RefuseDevice(options, error);
    // The library's 0 does not prove that it wrote the record.
    if (image == before)
      throw HostFailure("cannot read " + OneLine(options.device), "its answer is not valid");
  }
  if (!options.save.empty()) SaveImage(image, options.save);
  kind.show(globals, options, image);
  return kDone;
}

Work AddRecordCommand(CLI::App& app, const RecordKind& kind) {
  app.footer("Exit status: 0 shown, 3 the device did not give it, and why is said.\n");
  const auto options = std::make_shared<RecordOptions>();
  CLI::Option* const device = app.add_option("DEVICE", options->device, "Path of the device");
  const bool isPage = kind.fetch == FetchPage;
  CLI::Option* logId = nullptr;
  if (isPage) {
    logId = AddNumber(
        app, "--log-id", 0, 0xFF,
        [options](std::int64_t id) { options->logId = static_cast<std::uint8_t>(id); },
        "Identifier of the log page");
  }
  app.add_option("--raw", options->raw,
                 "Decode this image of " + std::to_string(kind.size) + " bytes instead")
      ->type_name("FILE")
      ->excludes(device);
  app.add_option("--save", options->save, "Write the image to this file")->type_name("FILE");
  return [options, &kind, isPage, logId](const GlobalOptions& globals) {
    if (options->device.empty() && options->raw.empty())
      throw UsageError("a device or --raw is required");
    if (isPage && options->raw.empty() && logId->count() == 0)
      throw UsageError("--log-id is required");
    return ShowRecord(globals, *options, kind);
  };
}

struct StatusOptions {
  std::uint8_t code = 0;
  std::uint8_t type = 0;
};

int ShowStatus(const GlobalOptions& globals, const StatusOptions& options) {
  Ondrel::NVME_STATUS_FIELD status{};
  status.SC = options.code;
  status.SCT = static_cast<std::uint16_t>(options.type & 7);
  const std::string text = status.sStatusCode();
  if (globals.json) {
    PrintJson({{"SC", options.code},
               {"SCT", options.type},
               {"type", status.sStatusCodeType()},
               {"text", text},
               {"success", status.SuccessfulCompletion()}});
  } else {
    std::cout << status.sStatusCodeType() << ": " << text << '\n';
  }
  return text == "?" ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddNVMeStatusCommand(CLI::App& app) {
  app.footer("Exit status: 0 it is known, 1 it is not.\n");
  const auto options = std::make_shared<StatusOptions>();
  AddNumber(
      app, "SC", 0, 0xFF,
      [options](std::int64_t code) { options->code = static_cast<std::uint8_t>(code); },
      "Status code")
      ->required();
  AddNumber(
      app, "SCT", 0, 7,
      [options](std::int64_t type) { options->type = static_cast<std::uint8_t>(type); },
      "Status code type")
      ->required();
  return [options](const GlobalOptions& globals) { return ShowStatus(globals, *options); };
}

Work AddNVMeControllerCommand(CLI::App& app) { return AddRecordCommand(app, kController); }

Work AddNVMeNamespaceCommand(CLI::App& app) { return AddRecordCommand(app, kNamespace); }

Work AddNVMeHealthCommand(CLI::App& app) { return AddRecordCommand(app, kHealth); }

Work AddNVMeErrorsCommand(CLI::App& app) { return AddRecordCommand(app, kErrors); }

Work AddNVMePageCommand(CLI::App& app) { return AddRecordCommand(app, kPage); }

}  // namespace Tool
