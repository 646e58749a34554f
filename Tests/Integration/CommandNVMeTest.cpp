#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;

class CommandNVMe : public CommandFixture {
protected:
  // Puts a number of `bytes` bytes, low byte first, into an image.
  static void Put(std::string& image, std::size_t offset, std::size_t bytes, std::uint64_t value) {
    for (std::size_t index = 0; index < bytes; ++index)
      image[offset + index] = static_cast<char>(value >> (8 * index) & 0xFF);
  }

  json JsonOfImage(const std::string& kind, const std::string& image) const {
    const ProcessResult result = Run({"--json", "nvme", kind, "--raw", WriteFile("image", image)});
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    return ParseAnswer(result.output);
  }

  std::string TextOfImage(const std::string& kind, const std::string& image) const {
    const ProcessResult result = Run({"nvme", kind, "--raw", WriteFile("image", image)});
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    return result.output;
  }

  static std::string HealthImage() {
    std::string image(512, '\0');
    Put(image, 0, 1, 0x09);
    Put(image, 1, 2, 318);
    Put(image, 3, 1, 97);
    Put(image, 4, 1, 10);
    Put(image, 5, 1, 3);
    Put(image, 32, 8, 0xFFFFFFFFFFFFFFFF);
    Put(image, 40, 8, 0xFFFFFFFFFFFFFFFF);
    Put(image, 48, 8, 0);
    Put(image, 56, 8, 1);
    Put(image, 128, 8, 8760);
    Put(image, 192, 4, 7);
    Put(image, 202, 2, 273);
    return image;
  }
};

TEST_F(CommandNVMe, HealthShowsUnitsAndCountersInFullDecimal) {
  const std::string text = TextOfImage("smart", HealthImage());

  EXPECT_THAT(text, HasSubstr("Critical warning                  0x9 "
                              "(AvailableSpareBelowThreshold, ReadOnly)\n"));
  EXPECT_THAT(text, HasSubstr("Composite temperature             318 K (45 C)\n"));
  EXPECT_THAT(text, HasSubstr("Available spare                   97 %\n"));
  EXPECT_THAT(text, HasSubstr("Data units read                   "
                              "340282366920938463463374607431768211455 x 512000 bytes\n"));
  EXPECT_THAT(text, HasSubstr("Data units written                18446744073709551616 x 512000 "
                              "bytes = 9444732965739290427392000 bytes (9.44 YB)\n"));
  EXPECT_THAT(text, HasSubstr("Power on hours                    8760 h\n"));
  EXPECT_THAT(text, HasSubstr("Temperature sensor 1              not reported\n"));
  EXPECT_THAT(text, HasSubstr("Temperature sensor 2              273 K (0 C)\n"));
}

TEST_F(CommandNVMe, HealthHasEveryFieldInJson) {
  const json health = JsonOfImage("smart", HealthImage())["health"];

  EXPECT_EQ(health["CriticalWarning"], json({{"value", 9},
                                             {"AvailableSpareBelowThreshold", true},
                                             {"Temperature", false},
                                             {"ReliabilityDegraded", false},
                                             {"ReadOnly", true},
                                             {"VolatileMemoryBackupFailed", false}}));
  EXPECT_EQ(health["CompositeTemperature"], 318);
  EXPECT_EQ(health["AvailableSpareThreshold"], 10);
  EXPECT_EQ(health["PercentageUsed"], 3);
  EXPECT_EQ(health["DataUnitsRead"], "340282366920938463463374607431768211455");
  EXPECT_EQ(health["DataUnitsWritten"], "18446744073709551616");
  EXPECT_TRUE(health["BytesRead"].is_null());
  EXPECT_EQ(health["BytesWritten"], "9444732965739290427392000");
  EXPECT_EQ(health["HostReadCommands"], "0");
  EXPECT_EQ(health["PowerOnHours"], "8760");
  EXPECT_EQ(health["WarningTemperatureTime"], 7);
  EXPECT_EQ(health["TemperatureSensor2"], 273);
  EXPECT_EQ(health.size(), 31U);
}

TEST_F(CommandNVMe, ControllerIsDecodedFromAnImage) {
  std::string image(4096, '\0');
  Put(image, 0, 2, 0x1B36);
  image.replace(4, 20, "SERIAL              ");
  image.replace(24, 40, "MODEL \x01\"\xC3                               ");
  Put(image, 80, 4, 0x00010300);
  Put(image, 256, 2, 0x0102);
  Put(image, 288, 8, 1);
  Put(image, 266, 2, 343);

  const json controller = JsonOfImage("id-ctrl", image)["controller"];

  EXPECT_EQ(controller["VID"], 0x1B36);
  EXPECT_EQ(controller["SN"], "SERIAL");
  EXPECT_EQ(controller["MN"], "MODEL  __");
  EXPECT_EQ(controller["VER"], 0x00010300);
  EXPECT_EQ(controller["OACS"]["value"], 0x0102);
  EXPECT_EQ(controller["OACS"]["Format"], true);
  EXPECT_EQ(controller["OACS"]["Security"], false);
  EXPECT_EQ(controller["OACS"]["DoorbellBufferConfig"], true);
  EXPECT_EQ(controller["TNVMCAP"], "18446744073709551616");
  EXPECT_EQ(controller["PSD"].size(), 1U);
  const std::string text = TextOfImage("id-ctrl", image);
  EXPECT_THAT(text, HasSubstr(" 1.3.0\n"));
  EXPECT_THAT(text, HasSubstr(" 0x102 (Format, DoorbellBufferConfig)\n"));
  EXPECT_THAT(text, HasSubstr(" 343 K (70 C)\n"));
}

TEST_F(CommandNVMe, ControllerOfAllOnesIsDecodedWithinItsBounds) {
  const std::string image(4096, '\xFF');

  const json controller = JsonOfImage("id-ctrl", image)["controller"];

  EXPECT_EQ(controller["NPSS"], 255);
  EXPECT_EQ(controller["PSD"].size(), 32U);
  EXPECT_EQ(controller["SUBNQN"], std::string(256, '_'));
  EXPECT_EQ(JsonOfImage("id-ns", image)["namespace"]["LBAF"].size(), 16U);
}

TEST_F(CommandNVMe, NamespaceShowsItsSizes) {
  std::string image(4096, '\0');
  Put(image, 0, 8, 1953525168);
  Put(image, 25, 1, 1);
  Put(image, 26, 1, 1);
  Put(image, 132, 2, 8);
  Put(image, 134, 1, 12);

  const json nameSpace = JsonOfImage("id-ns", image)["namespace"];

  EXPECT_EQ(nameSpace["LBASize"], 4096);
  EXPECT_EQ(nameSpace["Capacity"], 8001639088128);
  EXPECT_EQ(nameSpace["LBAF"][0], json({{"MS", 0}, {"LBADS", 0}, {"RP", 0}}));
  EXPECT_EQ(nameSpace["LBAF"][1], json({{"MS", 8}, {"LBADS", 12}, {"RP", 0}, {"inUse", true}}));
  const std::string text = TextOfImage("id-ns", image);
  EXPECT_THAT(text, HasSubstr("8001639088128 bytes (8.00 TB)\n"));
  EXPECT_THAT(text, HasSubstr("LBAF     Block format 0\n"));
  EXPECT_THAT(text, HasSubstr("LBAF     Block format 1, in use\n"));
}

TEST_F(CommandNVMe, NamespaceOfZerosIsNotThere) {
  const std::string path = WriteFile("image", std::string(4096, '\0'));

  const ProcessResult text = Run({"nvme", "id-ns", "--raw", path});
  const ProcessResult inJson = Run({"--json", "nvme", "id-ns", "--raw", path});

  EXPECT_EQ(text.exitStatus, 1);
  EXPECT_EQ(text.output, "the namespace is not there: the image is all zeros\n");
  EXPECT_EQ(inJson.exitStatus, 1);
  EXPECT_TRUE(ParseAnswer(inJson.output)["namespace"].is_null());
}

struct PowerRow {
  std::uint16_t value;
  unsigned int scale;
  const char* text;
};

TEST_F(CommandNVMe, PowerIsShownInWatts) {
  std::string image(4096, '\0');
  Put(image, 2048, 2, 2500);
  Put(image, 2048 + 16, 2, 4000);
  Put(image, 2048 + 18, 1, 1 << 6);
  Put(image, 2048 + 20, 2, 850);
  Put(image, 2048 + 22, 1, 2 << 6);

  const std::string text = TextOfImage("id-ctrl", image);
  const json state = JsonOfImage("id-ctrl", image)["controller"]["PSD"][0];

  EXPECT_THAT(text, ContainsRegex("Maximum power  +25\\.00 W\n"));
  EXPECT_THAT(text, ContainsRegex("Idle power  +0\\.4000 W\n"));
  EXPECT_THAT(text, ContainsRegex("Active power  +8\\.50 W\n"));
  EXPECT_EQ(state["MP"], 2500);
  EXPECT_EQ(state["MPWatts"], 25.0);
  EXPECT_EQ(state["IDLPWatts"], 0.4);
  EXPECT_EQ(state["ACTPWatts"], 8.5);

  Put(image, 2051, 1, 1);
  Put(image, 2048 + 18, 1, 0);
  Put(image, 2048 + 20, 2, 0);
  const std::string other = TextOfImage("id-ctrl", image);
  EXPECT_THAT(other, ContainsRegex("Maximum power  +0\\.2500 W\n"));
  EXPECT_THAT(other, ContainsRegex("Idle power  +not reported\n"));
  EXPECT_THAT(other, ContainsRegex("Active power  +not reported\n"));
  EXPECT_TRUE(JsonOfImage("id-ctrl", image)["controller"]["PSD"][0]["IDLPWatts"].is_null());
}

TEST_F(CommandNVMe, ErrorsAreShownWithTheirStatus) {
  std::string image(4096, '\0');
  Put(image, 64, 8, 12);
  Put(image, 64 + 8, 2, 1);
  Put(image, 64 + 12, 2, 0x8502);  // Do not retry, type 2, code 0x81.
  Put(image, 64 + 16, 8, 4711);
  Put(image, 64 + 24, 4, 1);

  const json errors = JsonOfImage("error-log", image)["errors"];

  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0]["ErrorCount"], 12);
  EXPECT_EQ(errors[0]["LogicalBlockAddress"], 4711);
  EXPECT_EQ(errors[0]["StatusField"]["SC"], 0x81);
  EXPECT_EQ(errors[0]["StatusField"]["SCT"], 2);
  EXPECT_EQ(errors[0]["StatusField"]["DNR"], true);
  EXPECT_THAT(TextOfImage("error-log", image),
              HasSubstr("Media and Data Integrity Errors: Unrecovered Read Error: The read data "
                        "could not be recovered from the media (type 2, code 0x81, do not "
                        "retry)\n"));
}

TEST_F(CommandNVMe, FieldsOfAllOnesOfAnErrorAreNone) {
  std::string image(4096, '\xFF');
  Put(image, 0, 8, 12);
  Put(image, 12, 2, 0x8E02);  // Do not retry, type 7, code 1.
  image.resize(64);

  const std::string text = TextOfImage("error-log", image);

  EXPECT_THAT(text, ContainsRegex("Submission queue  +none\n"));
  EXPECT_THAT(text, ContainsRegex("Command  +none\n"));
  EXPECT_THAT(text, ContainsRegex("Parameter in error  +none\n"));
  EXPECT_THAT(text, ContainsRegex("Block  +none\n"));
  EXPECT_THAT(text, ContainsRegex("Namespace  +none\n"));
  EXPECT_THAT(text, HasSubstr("Vendor Specific: vendor specific code (type 7, code 0x01, do not "
                              "retry)\n"));
  const json error = JsonOfImage("error-log", image)["errors"][0];
  EXPECT_EQ(error["SubmissionQueueId"], 0xFFFF);
  EXPECT_EQ(error["Namespace"], 0xFFFFFFFF);
}

TEST_F(CommandNVMe, ImageOfAnyCountOfErrorEntriesIsRead) {
  for (const unsigned entries : {1U, 4U, 64U, 256U}) {
    std::string image(entries * 64, '\0');
    for (std::size_t entry = 0; entry < entries; ++entry) Put(image, entry * 64, 8, entry + 1);
    EXPECT_EQ(JsonOfImage("error-log", image)["errors"].size(), entries);
  }
}

TEST_F(CommandNVMe, ImageComesFromStandardInputToo) {
  const ProcessResult result = Run({"--json", "nvme", "smart", "--raw", "-"}, HealthImage());

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_EQ(ParseAnswer(result.output)["file"], "-");
  EXPECT_EQ(ParseAnswer(result.output)["health"]["PercentageUsed"], 3);
}

TEST_F(CommandNVMe, OneDeviceThatFailsDoesNotKeepTheOthersFromBeingAsked) {
  const ProcessResult text = Run({"nvme", "smart", Path("one"), "/dev/null"});
  EXPECT_EQ(text.exitStatus, 3);
  EXPECT_EQ(text.output, Path("one") + "\n\n/dev/null\n");
  EXPECT_THAT(text.errors, HasSubstr("cannot read " + Path("one")));
  EXPECT_THAT(text.errors, HasSubstr("cannot read /dev/null"));

  const json devices =
      ParseAnswer(Run({"--json", "nvme", "smart", Path("one"), "/dev/null"}).output)["devices"];
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[0]["error"]["number"], 2);
  EXPECT_EQ(devices[1]["error"]["number"], 1);
}

TEST_F(CommandNVMe, LogWithoutErrorsSaysSo) {
  EXPECT_EQ(TextOfImage("error-log", std::string(4096, '\0')), "there are no errors in the log\n");
}

TEST_F(CommandNVMe, LogPageIsShownByteByByte) {
  std::string image(512, '\0');
  image.replace(0, 3, "ab\xFF");

  const std::string text = TextOfImage("log-page", image);

  EXPECT_EQ(text.substr(0, text.find('\n')),
            "0000 61 62 ff 00 00 00 00 00 00 00 00 00 00 00 00 00  ab..............");
  EXPECT_EQ(JsonOfImage("log-page", image)["bytes"], "6162ff" + std::string(1018, '0'));
}

TEST_F(CommandNVMe, ImageIsSavedAsItCame) {
  const std::string image = HealthImage();
  const ProcessResult result =
      Run({"nvme", "smart", "--raw", WriteFile("image", image), "--save", Path("saved")});

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  std::ifstream saved(Path("saved"), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), image);
}

TEST_F(CommandNVMe, PlaceThatCannotBeWrittenIsAFailure) {
  const ProcessResult result = Run({"nvme", "smart", "--raw", WriteFile("image", HealthImage()),
                                    "--save", Path("missing/saved")});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "ondrel: cannot write " + Path("missing/saved") + ": No such file or directory\n");
}

struct RefusedLine {
  const char* name;
  std::vector<std::string> arguments;
  int exitStatus;
  const char* reason;
};

TEST_F(CommandNVMe, LinesThatCannotBeCarriedOutAreRefused) {
  const std::string shortImage = WriteFile("short", std::string(511, '\0'));
  const std::string longImage = WriteFile("long", std::string(513, '\0'));
  const RefusedLine kLines[] = {
      {"no device", {"smart"}, 2, "a device or --raw is required"},
      {"no page", {"log-page", "/dev/null"}, 2, "--log-id is required"},
      {"page too large",
       {"log-page", "/dev/null", "--log-id", "256"},
       2,
       "is not a number of 0 to"},
      {"both sources", {"smart", "/dev/null", "--raw", longImage}, 2, "DEVICE excludes --raw"},
      {"image that is not there",
       {"smart", "--raw", Path("none")},
       2,
       ": No such file or directory"},
      {"folder as image", {"smart", "--raw", Path("")}, 2, ": Is a directory"},
      {"endless image", {"smart", "--raw", "/dev/zero"}, 2, "more than 67108864 bytes"},
      {"image too short", {"smart", "--raw", shortImage}, 2, "is not an image of 512 bytes"},
      {"image too long", {"smart", "--raw", longImage}, 2, "is not an image of 512 bytes"},
      {"part of an entry",
       {"error-log", "--raw", shortImage},
       2,
       "is not an image of 1 to 256 entries of 64 bytes"},
      {"no entry",
       {"error-log", "--raw", WriteFile("empty", "")},
       2,
       "is not an image of 1 to 256 entries of 64 bytes"},
      {"two places to save",
       {"smart", "/dev/null", "/dev/zero", "--save", Path("saved")},
       2,
       "--save takes one device"},
      {"no file to save", {"smart", "/dev/null", "--save", "-"}, 2, "--save takes a file"},
      {"namespace of an image",
       {"id-ns", "--raw", longImage, "--namespace", "2"},
       2,
       "--namespace excludes --raw"},
      {"page of an image",
       {"log-page", "--log-id", "2", "--raw", longImage},
       2,
       "--log-id excludes --raw"},
      {"no file for the state", {"check", "/dev/null", "--state", "-"}, 2, "--state takes a file"},
      {"wear the wrong way round",
       {"check", "/dev/null", "--used-critical", "89"},
       2,
       "--used-warning is larger than --used-critical"},
      {"heat the wrong way round",
       {"check", "/dev/null", "--temperature-warning", "70", "--temperature-critical", "69"},
       2,
       "--temperature-warning is larger than --temperature-critical"},
      {"namespace of no number",
       {"id-ns", "/dev/null", "--namespace", "0"},
       2,
       "is not a number of 1 to 4294967294"},
      {"missing device", {"smart", Path("none")}, 3, "(error 2, ERROR_FILE_NOT_FOUND)"},
      {"no NVMe device",
       {"id-ctrl", "/dev/null"},
       3,
       "(error 1, ERROR_INVALID_FUNCTION); is it an NVMe device?"},
      {"no subcommand", {}, 2, "a subcommand is required"},
      {"code too large", {"status", "256", "0"}, 2, "is not a number of 0 to 255"},
      {"type too large", {"status", "0", "8"}, 2, "is not a number of 0 to 7"},
      {"word with its phase", {"status", "0x8004"}, 2, "is not a number of 0 to 32767"},
      {"word too large", {"status", "65536"}, 2, "is not a number of 0 to 65535"},
      {"phase of a code", {"status", "1", "1", "--with-phase"}, 2, "takes a whole word"},
  };
  for (const RefusedLine& line : kLines) {
    std::vector<std::string> arguments = {"nvme"};
    arguments.insert(arguments.end(), line.arguments.begin(), line.arguments.end());
    const ProcessResult result = Run(arguments);
    EXPECT_EQ(result.exitStatus, line.exitStatus) << line.name;
    EXPECT_EQ(result.output, "") << line.name;
    EXPECT_THAT(result.errors, HasSubstr(line.reason)) << line.name;
  }
}

TEST_F(CommandNVMe, DeviceThatIsNotThereIsAFailureInJson) {
  const ProcessResult result = Run({"--json", "nvme", "smart", Path("none")});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(ParseAnswer(result.output),
            nlohmann::json({{"error",
                             {{"kind", "host"},
                              {"number", 2},
                              {"name", "ERROR_FILE_NOT_FOUND"},
                              {"text", "The system cannot find the file specified."},
                              {"what", "cannot read " + Path("none")}}},
                            {"exitStatus", 3}}));
}

TEST_F(CommandNVMe, StatusIsExplained) {
  const ProcessResult result = Run({"nvme", "status", "0x80", "0"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output,
            "Generic Command Status: LBA Out of Range: The command references an LBA that exceeds "
            "the size of the namespace (type 0, code 0x80)\n");
}

TEST_F(CommandNVMe, WholeStatusIsExplained) {
  const ProcessResult result = Run({"nvme", "status", "0x6109"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output,
            "Command Specific Status: Invalid Log Page - Get Log Page (type 1, code 0x09, more, do "
            "not retry)\n");
  // The same with the phase tag in front, as a saved error log has it.
  EXPECT_EQ(Run({"nvme", "status", "0xC213", "--with-phase"}).output, result.output);
  EXPECT_EQ(ParseAnswer(Run({"--json", "nvme", "status", "0x6109"}).output)["DNR"], true);
}

TEST_F(CommandNVMe, StatusWithoutATextIsANo) {
  const ProcessResult result = Run({"nvme", "status", "0", "2"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "Media and Data Integrity Errors: unknown code (type 2, code 0x00)\n");
}

TEST_F(CommandNVMe, ListOfAHostHasItsControllersAndNamespaces) {
  const ProcessResult result = Run({"--json", "nvme", "list"});
  const json list = ParseAnswer(result.output);

  EXPECT_EQ(result.exitStatus, list["controllers"].empty() ? 1 : 0);
  EXPECT_TRUE(list["namespaces"].is_array());
  if (list["controllers"].empty()) {
    EXPECT_EQ(Run({"nvme", "list"}).output, "there is no NVMe device\n");
  }
}

TEST_F(CommandNVMe, ListShowsWhatTheKernelSaysOfAController) {
  // With mounts of its own: a host with one controller, whose nodes are not there.
  const std::string line = R"(mount -t tmpfs none /sys && c=/sys/devices/nvme0 &&
mkdir -p $c/nvme0n1/queue /sys/class/nvme /sys/block &&
echo Model >$c/model; echo S1 >$c/serial; echo 1.2 >$c/firmware_rev; echo live >$c/state
echo pcie >$c/transport; echo 0000:00:04.0 >$c/address; echo nqn.2014-08.org:one >$c/subsysnqn
echo 7 >$c/nvme0n1/nsid; echo 2048 >$c/nvme0n1/size
echo 4096 >$c/nvme0n1/queue/logical_block_size
ln -s $c /sys/class/nvme/nvme0; ln -s $c/nvme0n1 /sys/block/nvme0n1
"$0" --json nvme list; "$0" nvme list 2>&1)";
  const ProcessResult result =
      RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line, ONDREL_COMMAND});

  ASSERT_EQ(result.exitStatus, 0) << result.output << result.errors;
  const std::size_t end = result.output.find('\n');
  ASSERT_NE(end, std::string::npos);
  EXPECT_EQ(ParseAnswer(result.output.substr(0, end)), json::parse(R"({
    "controllers": [{"name": "nvme0", "device": "/dev/nvme0", "model": "Model", "serial": "S1",
      "firmware": "1.2", "state": "live", "transport": "pcie", "address": "0000:00:04.0",
      "subsystem": "nqn.2014-08.org:one", "namespaces": ["nvme0n1"]}],
    "namespaces": [{"name": "nvme0n1", "device": "/dev/nvme0n1", "id": 7, "size": 1048576,
      "diskSize": 1048576, "used": null, "blockSize": 4096, "metadataSize": null,
      "metadataAtEnd": null, "format": null, "controllers": ["nvme0"],
      "error": {"number": 2, "name": "ERROR_FILE_NOT_FOUND",
        "text": "The system cannot find the file specified."}}]})"));
  EXPECT_EQ(result.output.substr(end + 1),
            "controller  model  serial  firmware  state  at\n"
            "/dev/nvme0  Model  S1      1.2       live   pcie 0000:00:04.0\n\n"
            "id  namespace     size     in use  format      controllers\n"
            " 7  /dev/nvme0n1  1.05 MB  -       4096 bytes  nvme0\n"
            "ondrel: cannot ask /dev/nvme0n1 for its use and metadata: The system cannot find the "
            "file specified. (error 2, ERROR_FILE_NOT_FOUND)\n");
}

TEST_F(CommandNVMe, CheckOfADeviceThatIsNotThereIsAnEventInTheLog) {
  const ProcessResult result = Run({"nvme", "check", Path("none"), "--log", "Demo"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.output, HasSubstr(Path("none") +
                                       ": cannot be read\n  it cannot be asked: "
                                       "cannot read " +
                                       Path("none")));
  EXPECT_THAT(Run({"log", "show", "Demo"}).output,
              HasSubstr("10713 DEVICE_OPEN_ERROR: Drive " + Path("none") +
                        " (none): health cannot be read, error 2"));
}

TEST_F(CommandNVMe, CheckRemembersWhatItReported) {
  const std::string state = Path("state");
  for (const std::size_t events : {1U, 0U}) {
    const ProcessResult result = Run({"--json", "nvme", "check", Path("none"), "--state", state});
    EXPECT_EQ(result.exitStatus, 2);
    const json answer = ParseAnswer(result.output);
    EXPECT_EQ(answer["devices"][0]["events"].size(), events);
    EXPECT_EQ(answer["devices"][0]["verdict"], "cannot be read");
    EXPECT_EQ(answer["devices"][0]["error"]["number"], 2);
    EXPECT_EQ(answer["well"], false);
    EXPECT_EQ(answer["exitStatus"], 2);
  }
}

TEST_F(CommandNVMe, CheckWithoutAnythingNewIsDoneWithoutAMail) {
  const std::string state = Path("state");
  EXPECT_EQ(Run({"nvme", "check", Path("none"), "--state", state}).exitStatus, 2);
  const ProcessResult result =
      Run({"--json", "nvme", "check", Path("none"), "--state", state, "--server", "127.0.0.1",
           "--port", "1", "--mail-from", "raid@example.com", "--to", "admin@example.com"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(ParseAnswer(result.output)["mail"], json({{"ok", true}, {"sent", false}}));
}

TEST_F(CommandNVMe, CheckThatReachesNobodyIsNewsAgain) {
  const std::string state = Path("state");
  for (int time = 0; time < 2; ++time) {
    const ProcessResult result =
        Run({"--json", "nvme", "check", Path("none"), "--state", state, "--server", "127.0.0.1",
             "--port", "1", "--mail-from", "raid@example.com", "--to", "admin@example.com"});
    EXPECT_EQ(result.exitStatus, 3);
    const json answer = ParseAnswer(result.output);
    EXPECT_EQ(answer["mail"]["ok"], false);
    EXPECT_EQ(answer["devices"][0]["events"].size(), 1U);
  }
}

TEST_F(CommandNVMe, StateThatCannotBeWrittenIsABitBesideWhatWasFound) {
  const std::string state = Path("missing/state");
  const ProcessResult result = Run({"nvme", "check", Path("none"), "--state", state});
  EXPECT_EQ(result.exitStatus, 1 + 2);
  EXPECT_THAT(result.output, HasSubstr(Path("none") + ": cannot be read\n"));
  EXPECT_THAT(result.errors, HasSubstr("cannot write " + state + ": No such file or directory"));

  const ProcessResult inJson = Run({"--json", "nvme", "check", Path("none"), "--state", state});
  EXPECT_EQ(inJson.exitStatus, 1 + 2);
  const json answer = ParseAnswer(inJson.output);
  EXPECT_EQ(answer["devices"][0]["verdict"], "cannot be read");
  EXPECT_EQ(answer["state"]["ok"], false);
  EXPECT_EQ(answer["state"]["error"]["what"], "cannot write " + state);
  EXPECT_EQ(answer["exitStatus"], 3);
}

TEST_F(CommandNVMe, LinkBesideTheStateIsNotFollowed) {
  const std::string other = WriteFile("other", "text");
  std::filesystem::create_symlink(other, Path("state.new"));
  const ProcessResult result = Run({"nvme", "check", Path("none"), "--state", Path("state")});

  EXPECT_EQ(result.exitStatus, 1 + 2);
  EXPECT_THAT(result.errors, HasSubstr("cannot write " + Path("state")));
  std::ifstream file(other);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "text");
}

TEST_F(CommandNVMe, JsonDoesNotSteerATerminal) {
  const std::string device = Path(
      "none\x7F\xC2\x9B"
      "2J\xC2\xA0");
  const std::string output = Run({"--json", "nvme", "check", device}).output;

  EXPECT_THAT(output, HasSubstr("none\\u007f\\u009b2J\xC2\xA0\""));
  EXPECT_EQ(ParseAnswer(output)["devices"][0]["device"], device);
  EXPECT_EQ(output.find_first_of("\x7F\x9B"), std::string::npos);
}

TEST_F(CommandNVMe, CheckWithoutNamesTakesEachDeviceOfTheHostOrSaysThatThereIsNone) {
  const json listed = ParseAnswer(Run({"--json", "nvme", "list"}).output)["controllers"];
  const ProcessResult result = Run({"--json", "nvme", "check"});
  const json answer = ParseAnswer(result.output);

  if (listed.empty()) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(answer["error"]["text"], "there is no NVMe device to check");
  } else {
    EXPECT_EQ(answer["devices"].size(), listed.size());
  }
}

TEST_F(CommandNVMe, CheckRefusesMailOptionsThatCannotBeUsed) {
  const ProcessResult result = Run({"nvme", "check", Path("none"), "--server", "localhost"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, HasSubstr("--mail-from is required"));
}

TEST_F(CommandNVMe, StateThatIsNotOneIsRefused) {
  const ProcessResult result =
      Run({"nvme", "check", Path("none"), "--state", WriteFile("other", "text")});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr("is not a state that nvme check has written"));
}

}  // namespace
}  // namespace Ondrel::Testing
