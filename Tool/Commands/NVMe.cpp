#include "Tool/Command.h"
#include "Tool/Files.h"
#include "Tool/NVMeDevice.h"
#include "Tool/NVMeFields.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <Ondrel/NVMeDevices.h>
#include <Ondrel/NVMeQuery.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Tool {

namespace {

using Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY;
using Ondrel::NVME_IDENTIFY_CONTROLLER;
using Ondrel::NVME_IDENTIFY_NAMESPACE;
using Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG;

constexpr std::size_t kEntryBytes = sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY);
constexpr Ondrel::ULong kNamespaceOne = 1;

struct RecordOptions {
  std::vector<std::string> devices;
  std::string raw;
  std::string save;
  std::uint8_t logId = 0;
  std::optional<Ondrel::ULong> nameSpace;
  bool withBits = false;
};

/// Where an image comes from.
struct Source {
  std::string device;  ///< Empty for a file.
  std::string file;
  std::uint8_t logId = 0;
  Ondrel::ULong nameSpace = 0;  ///< Of the identify data of a namespace; 0 for a file.
};

/// What a subcommand shows: how its bytes are fetched, and how they are shown.
struct RecordKind {
  std::size_t size;
  NVMeImage (*fetch)(const RecordOptions& options, Source& source);
  Json (*json)(const Source& source, NVMeImage& image);
  void (*print)(const Source& source, NVMeImage& image, bool withBits);
  /// Whether there is anything in the image; null where there always is.
  bool (*isThere)(const NVMeImage& image) = nullptr;
};

Json JsonOfSource(const Source& source) {
  if (source.file.empty()) return {{"device", source.device}};
  return {{"file", source.file}};
}

Json JsonOfRecord(const Source& source, const char* name, const Fields& fields) {
  Json json = JsonOfSource(source);
  json[name] = fields.AsJson();
  return json;
}

NVMeImage FetchController(const RecordOptions&, Source& source) {
  return AskNVMe(source.device, sizeof(NVME_IDENTIFY_CONTROLLER), [&](NVMeImage& image) {
    return Ondrel::NVMeStorageQueryPropertyIdentifyController(
        source.device.c_str(), &RecordIn<NVME_IDENTIFY_CONTROLLER>(image));
  });
}

Json JsonOfController(const Source& source, NVMeImage& image) {
  return JsonOfRecord(source, "controller", FieldsOf(RecordIn<NVME_IDENTIFY_CONTROLLER>(image)));
}

void PrintController(const Source&, NVMeImage& image, bool withBits) {
  FieldsOf(RecordIn<NVME_IDENTIFY_CONTROLLER>(image))
      .Print(std::cout, {.withNames = true, .withBits = withBits});
}

/// The namespace that is asked for, else the one that the node stands for, else the first.
Ondrel::ULong NamespaceFor(const RecordOptions& options, const std::string& device) {
  if (options.nameSpace) return *options.nameSpace;
  Ondrel::ULong id = kNamespaceOne;
  Ondrel::Host::FindNVMeNamespaceId(device.c_str(), id);
  return id;
}

NVMeImage FetchNamespace(const RecordOptions& options, Source& source) {
  source.nameSpace = NamespaceFor(options, source.device);
  return AskNVMe(source.device, sizeof(NVME_IDENTIFY_NAMESPACE), [&](NVMeImage& image) {
    auto& record = RecordIn<NVME_IDENTIFY_NAMESPACE>(image);
    return source.nameSpace == kNamespaceOne
               ? Ondrel::NVMeStorageQueryPropertyIdentifyNamespace(source.device.c_str(), &record)
               : Ondrel::Host::IdentifyNVMeNamespace(source.device.c_str(), source.nameSpace,
                                                     &record);
  });
}

/// What a controller delivers of a namespace that is not there are zeros.
bool IsNamespaceThere(const NVMeImage& image) {
  return std::ranges::any_of(image, [](std::uint8_t byte) { return byte != 0; });
}

/// The namespaces of the controllers that a node leads to, as far as the host knows them.
std::set<Ondrel::ULong> NamespacesBeside(const std::string& device) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(device, error);
  const std::string name = error ? device : real.filename().string();
  const Ondrel::Host::NVMeDevices known = Ondrel::Host::ListNVMeDevices();
  std::set<std::string> controllers = {name};
  for (const Ondrel::Host::NVMeNamespace& nameSpace : known.namespaces)
    if (nameSpace.name == name)
      controllers.insert(nameSpace.controllers.begin(), nameSpace.controllers.end());
  std::set<Ondrel::ULong> ids;
  for (const Ondrel::Host::NVMeNamespace& nameSpace : known.namespaces)
    for (const std::string& controller : nameSpace.controllers)
      if (controllers.contains(controller) && nameSpace.id != 0) ids.insert(nameSpace.id);
  return ids;
}

Json JsonOfNamespace(const Source& source, NVMeImage& image) {
  Json json = JsonOfSource(source);
  if (source.file.empty()) json["namespaceId"] = source.nameSpace;
  if (IsNamespaceThere(image)) {
    json["namespace"] = FieldsOf(RecordIn<NVME_IDENTIFY_NAMESPACE>(image)).AsJson();
  } else {
    json["namespace"] = nullptr;
    if (source.file.empty()) json["namespaces"] = NamespacesBeside(source.device);
  }
  return json;
}

void PrintNamespace(const Source& source, NVMeImage& image, bool withBits) {
  const bool isThere = IsNamespaceThere(image);
  if (!source.file.empty()) {
    if (!isThere) std::cout << "the namespace is not there: the image is all zeros\n";
  } else {
    std::cout << "namespace " << source.nameSpace << " of " << OneLine(source.device)
              << (isThere ? "" : " is not there");
    if (!isThere) {
      std::string ids;
      for (const Ondrel::ULong id : NamespacesBeside(source.device))
        ids += (ids.empty() ? "; there are " : ", ") + std::to_string(id);
      std::cout << ids;
    }
    std::cout << '\n';
  }
  if (isThere)
    FieldsOf(RecordIn<NVME_IDENTIFY_NAMESPACE>(image))
        .Print(std::cout, {.withNames = true, .withBits = withBits});
}

NVMeImage FetchHealth(const RecordOptions&, Source& source) {
  return AskNVMe(source.device, sizeof(NVME_SMART_HEALTH_INFORMATION_LOG), [&](NVMeImage& image) {
    return Ondrel::NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
        source.device.c_str(), &RecordIn<NVME_SMART_HEALTH_INFORMATION_LOG>(image));
  });
}

Json JsonOfHealth(const Source& source, NVMeImage& image) {
  return JsonOfRecord(source, "health",
                      FieldsOf(RecordIn<NVME_SMART_HEALTH_INFORMATION_LOG>(image)));
}

void PrintHealth(const Source&, NVMeImage& image, bool withBits) {
  FieldsOf(RecordIn<NVME_SMART_HEALTH_INFORMATION_LOG>(image))
      .Print(std::cout, {.withNames = false, .withBits = withBits});
}

NVMeImage FetchErrors(const RecordOptions&, Source& source) {
  return AskErrorLog(source.device, Ondrel::NVMeStorageQueryPropertyGetLogPageErrorInfo);
}

std::vector<Fields> ErrorsIn(NVMeImage& image) {
  auto* const entries = &RecordIn<NVME_ERROR_INFORMATION_LOG_ENTRY>(image);
  std::vector<Fields> errors;
  for (std::size_t index = 0; index < image.size() / kEntryBytes; ++index)
    if (entries[index].ErrorCount != 0) errors.push_back(FieldsOf(entries[index]));
  return errors;
}

Json JsonOfErrors(const Source& source, NVMeImage& image) {
  Json json = JsonOfSource(source);
  json["errors"] = Json::array();
  for (const Fields& error : ErrorsIn(image)) json["errors"].push_back(error.AsJson());
  return json;
}

void PrintErrors(const Source&, NVMeImage& image, bool withBits) {
  const std::vector<Fields> errors = ErrorsIn(image);
  if (errors.empty()) std::cout << "there are no errors in the log\n";
  for (const Fields& error : errors) {
    if (&error != &errors.front()) std::cout << '\n';
    error.Print(std::cout, {.withNames = false, .withBits = withBits});
  }
}

NVMeImage FetchPage(const RecordOptions&, Source& source) {
  constexpr std::size_t kPageBytes = 512;
  return AskNVMe(source.device, kPageBytes, [&](NVMeImage& image) {
    return Ondrel::NVMeStorageQueryPropertyGetVendorSpecificLogPage(source.device.c_str(),
                                                                    source.logId, image.data());
  });
}

Json JsonOfPage(const Source& source, NVMeImage& image) {
  Json json = JsonOfSource(source);
  if (source.file.empty()) json["logId"] = source.logId;
  json["bytes"] = HexOf(image);
  return json;
}

void PrintPage(const Source&, NVMeImage& image, bool) {
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

constexpr RecordKind kController{sizeof(NVME_IDENTIFY_CONTROLLER), FetchController,
                                 JsonOfController, PrintController};
constexpr RecordKind kNamespace{sizeof(NVME_IDENTIFY_NAMESPACE), FetchNamespace, JsonOfNamespace,
                                PrintNamespace, IsNamespaceThere};
constexpr RecordKind kHealth{sizeof(NVME_SMART_HEALTH_INFORMATION_LOG), FetchHealth, JsonOfHealth,
                             PrintHealth};
constexpr RecordKind kErrors{kEntryBytes, FetchErrors, JsonOfErrors, PrintErrors};
constexpr RecordKind kPage{512, FetchPage, JsonOfPage, PrintPage};

/// The size of an image in words.
std::string SizeOf(const RecordKind& kind) {
  if (kind.fetch != FetchErrors) return std::to_string(kind.size) + " bytes";
  return "1 to " + std::to_string(kMostErrorEntries) + " entries of " + std::to_string(kind.size) +
         " bytes";
}

NVMeImage ReadImage(const RecordKind& kind, const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  const std::size_t most = kind.fetch == FetchErrors ? kMostErrorEntries : 1;
  if (bytes.empty() || bytes.size() % kind.size != 0 || bytes.size() / kind.size > most)
    throw UsageError((path == "-" ? "standard input" : path) + " is not an image of " +
                     SizeOf(kind));
  return {bytes.begin(), bytes.end()};
}

void SaveImage(const NVMeImage& image, const std::string& path) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(image.data()),
             static_cast<std::streamsize>(image.size()));
  file.flush();
  if (!file)
    throw HostFailure("cannot write " + OneLine(path),
                      errno != 0 ? std::strerror(errno) : "the file is not complete");
}

NVMeImage Fetch(const RecordKind& kind, const RecordOptions& options, Source& source) {
  const Progress progress("asking " + OneLine(source.device));
  return kind.fetch(options, source);
}

int StatusOf(const RecordKind& kind, const NVMeImage& image) {
  return kind.isThere == nullptr || kind.isThere(image) ? kDone : kNegativeAnswer;
}

int ShowOne(const GlobalOptions& globals, const RecordOptions& options, const RecordKind& kind) {
  Source source;
  source.logId = options.logId;
  source.file = options.raw;
  if (options.raw.empty()) source.device = options.devices.front();
  NVMeImage image =
      options.raw.empty() ? Fetch(kind, options, source) : ReadImage(kind, options.raw);
  if (!options.save.empty()) SaveImage(image, options.save);
  if (globals.json)
    PrintJson(kind.json(source, image));
  else
    kind.print(source, image, options.withBits);
  return StatusOf(kind, image);
}

/// One device that fails does not keep the others from being shown.
int ShowEach(const GlobalOptions& globals, const RecordOptions& options, const RecordKind& kind) {
  int status = kDone;
  Json list = Json::array();
  for (const std::string& device : options.devices) {
    if (!globals.json)
      std::cout << (&device == &options.devices.front() ? "" : "\n") << OneLine(device) << '\n';
    Source source;
    source.device = device;
    source.logId = options.logId;
    try {
      NVMeImage image = Fetch(kind, options, source);
      if (globals.json)
        list.push_back(kind.json(source, image));
      else
        kind.print(source, image, options.withBits);
      status = std::max(status, StatusOf(kind, image));
    } catch (const Failure& failure) {
      status = kFailed;
      std::cout << std::flush;
      if (globals.json)
        list.push_back({{"device", device}, {"error", failure.Details()}});
      else
        Say(failure.what());
    }
  }
  if (globals.json) PrintJson({{"devices", list}});
  return status;
}

Work AddRecordCommand(CLI::App& app, const RecordKind& kind) {
  const bool isPage = kind.fetch == FetchPage;
  const bool isNamespace = kind.fetch == FetchNamespace;
  app.footer(std::string("Exit status: 0 shown, ") +
             (isNamespace ? "1 the namespace is not there, " : "") +
             "3 a device did not give it, and why is said.\n");
  const auto options = std::make_shared<RecordOptions>();
  CLI::Option* const device =
      app.add_option("DEVICE", options->devices, "Paths of devices")->type_name("");
  CLI::Option* logId = nullptr;
  if (isPage) {
    logId = AddNumber(
        app, "--log-id", 0, 0xFF,
        [options](std::int64_t id) { options->logId = static_cast<std::uint8_t>(id); },
        "Identifier of the log page");
  }
  CLI::Option* nameSpace = nullptr;
  if (isNamespace) {
    nameSpace = AddNumber(
        app, "--namespace", 1, 0xFFFFFFFE,
        [options](std::int64_t id) { options->nameSpace = static_cast<Ondrel::ULong>(id); },
        "Identifier of the namespace (default: the one that the device stands for, else 1)");
    nameSpace->type_name("N");
  }
  if (!isPage)
    AddFlag(app, "--bits", options->withBits,
            "Show every known bit of the fields of bits, also those that are zero");
  CLI::Option* const raw =
      app.add_option("--raw", options->raw,
                     "Decode this image of " + SizeOf(kind) + " instead, - for standard input")
          ->type_name("FILE")
          ->excludes(device);
  // An image is of one log and one namespace already.
  for (CLI::Option* const choice : {logId, nameSpace})
    if (choice != nullptr) raw->excludes(choice);
  app.add_option("--save", options->save, "Write the image of one device to this file")
      ->type_name("FILE");
  return [options, &kind, isPage, logId](const GlobalOptions& globals) {
    if (options->devices.empty() && options->raw.empty())
      throw UsageError("a device or --raw is required");
    if (isPage && options->raw.empty() && logId->count() == 0)
      throw UsageError("--log-id is required");
    if (options->save == "-") throw UsageError("--save takes a file, and - is not one");
    if (options->devices.size() < 2) return ShowOne(globals, *options, kind);
    if (!options->save.empty()) throw UsageError("--save takes one device");
    return ShowEach(globals, *options, kind);
  };
}

}  // namespace

Work AddNVMeControllerCommand(CLI::App& app) { return AddRecordCommand(app, kController); }

Work AddNVMeNamespaceCommand(CLI::App& app) { return AddRecordCommand(app, kNamespace); }

Work AddNVMeHealthCommand(CLI::App& app) { return AddRecordCommand(app, kHealth); }

Work AddNVMeErrorsCommand(CLI::App& app) { return AddRecordCommand(app, kErrors); }

Work AddNVMePageCommand(CLI::App& app) { return AddRecordCommand(app, kPage); }

}  // namespace Tool
