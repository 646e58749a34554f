#include "Host/Linux/Volumes/MapperTargets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace Ondrel::Host {

namespace {

using testing::ElementsAreArray;

constexpr std::uint64_t kAll = ~std::uint64_t{0};
constexpr std::uint64_t kStart = 100;
constexpr std::uint64_t kCount = 50;

// Major, minor, start and count, which is `kAll` for all of the device.
using Part = std::tuple<unsigned, unsigned, std::uint64_t, std::uint64_t>;

std::vector<Part> PartsOf(const std::string& type, const std::string& parameters) {
  const MapperTarget target{0, 4096, type, ParametersToKeep(type, parameters)};
  const auto beneath = PartsBeneath(target, kStart, kCount);
  std::vector<Part> parts;
  for (const PartBeneath& part : beneath.value_or(std::vector<PartBeneath>()))
    parts.emplace_back(part.device.first, part.device.second, part.start,
                       part.count.value_or(kAll));
  return parts;
}

struct Row {
  const char* name;
  const char* type;
  const char* parameters;  // As the kernel prints them.
  std::vector<Part> parts;
};

class Target : public testing::TestWithParam<Row> {};
TEST_P(Target, SaysWhereAPartOfItLies) {
  EXPECT_TRUE(IsKnownTarget(GetParam().type));
  EXPECT_THAT(PartsOf(GetParam().type, GetParam().parameters), ElementsAreArray(GetParam().parts));
}
INSTANTIATE_TEST_SUITE_P(
    MapperTargets, Target,
    testing::Values(
        Row{"Linear", "linear", "8:1 2048", {{8, 1, 2148, 50}}},
        Row{"Crypt",
            "crypt",
            "aes-xts-plain64 00112233445566778899aabbccddeeff 0 8:1 32768 1 allow_discards",
            {{8, 1, 32868, 50}}},
        Row{"Flakey", "flakey", "8:1 10 5 5", {{8, 1, 110, 50}}},
        Row{"Delay", "delay", "8:1 10 5 8:2 0 7", {{8, 1, 110, 50}}},
        Row{"Dust", "dust", "8:1 10 512", {{8, 1, 110, 50}}},
        Row{"Ebs", "ebs", "8:1 10 8", {{8, 1, 110, 50}}},
        Row{"Integrity",
            "integrity",
            "8:1 0 32 J 2 internal_hash:hmac(sha256):001122 block_size:512",
            {{8, 1, 0, kAll}}},
        Row{"Verity", "verity", "1 8:1 8:2 4096 4096 512 1 sha256 aa bb", {{8, 1, 100, 50}}},
        Row{"LogWrites", "log-writes", "8:1 8:2", {{8, 1, 100, 50}}},
        Row{"Era", "era", "8:2 8:1 128", {{8, 1, 100, 50}}},
        Row{"SnapshotOrigin", "snapshot-origin", "254:3", {{254, 3, 100, 50}}},
        Row{"Snapshot", "snapshot", "254:3 254:4 P 8", {{254, 3, 100, 50}, {254, 4, 0, kAll}}},
        Row{"SnapshotMerge",
            "snapshot-merge",
            "254:3 254:4 P 8",
            {{254, 3, 100, 50}, {254, 4, 0, kAll}}},
        Row{"Cache",
            "cache",
            "254:1 254:2 254:3 128 2 metadata2 writethrough smq 0",
            {{254, 2, 0, kAll}, {254, 3, 100, 50}}},
        Row{"Writecache",
            "writecache",
            "s 254:3 254:2 4096 0",
            {{254, 3, 100, 50}, {254, 2, 0, kAll}}},
        Row{"Clone", "clone", "254:1 254:2 254:3 8", {{254, 2, 100, 50}, {254, 3, 0, kAll}}},
        Row{"Thin", "thin", "254:5 1", {{254, 5, 0, kAll}}},
        Row{"ThinPool", "thin-pool", "254:1 254:2 128 0 1 skip_block_zeroing", {{254, 2, 100, 50}}},
        Row{"Multipath",
            "multipath",
            "1 queue_if_no_path 0 2 1 service-time 0 1 2 8:0 1 1 service-time 0 2 2 8:16 1 1 8:32 "
            "1 1",
            {{8, 0, 100, 50}, {8, 16, 100, 50}, {8, 32, 100, 50}}},
        Row{"MultipathWithAHandler",
            "multipath",
            "0 1 alua 1 1 round-robin 0 1 1 8:0 1000",
            {{8, 0, 100, 50}}},
        Row{"Mirror",
            "mirror",
            "core 2 1024 nosync 2 8:1 10 8:17 20 1 handle_errors",
            {{8, 1, 110, 50}, {8, 17, 120, 50}}},
        Row{"RaidMirror",
            "raid",
            "raid1 3 0 region_size 1024 2 254:0 254:1 254:2 254:3",
            {{254, 1, 100, 50}, {254, 3, 100, 50}}},
        Row{"RaidOfShares",
            "raid",
            "raid5_ls 3 128 region_size 1024 3 254:0 254:1 - - 254:4 254:5",
            {{254, 1, 0, kAll}, {254, 5, 0, kAll}}},
        Row{"Striped", "striped", "2 16 8:0 2048 8:16 6144", {{8, 0, 2096, 32}, {8, 16, 6192, 32}}},
        Row{"Zero", "zero", "", {}}, Row{"Error", "error", "", {}}),
    [](const auto& row) { return row.param.name; });

TEST(MapperTargets, ParametersOfAnotherFormAreNotUnderstood) {
  for (const auto& [type, parameters] : std::vector<std::pair<const char*, const char*>>{
           {"multipath", "0 0 1 1 round-robin 0 2 1 8:0 1000"},
           {"multipath", "0 0 1"},
           {"multipath", "0 0 1 1 round-robin 0 99999999999999999999 1"},
           {"raid", "raid1 3 0"},
           {"raid", "raid1 0 2 254:0"},
           {"mirror", "core 2 1024 nosync 2 8:1 10"},
           {"cache", "254:1 254:2"},
           {"thin", "pool 1"},
           {"striped", "2 0 8:0 0 8:16 0"}}) {
    const MapperTarget target{0, 4096, type, ParametersToKeep(type, parameters)};
    EXPECT_FALSE(PartsBeneath(target, kStart, kCount)) << type << ' ' << parameters;
  }
}

TEST(MapperTargets, NoKeyIsKept) {
  EXPECT_EQ(ParametersToKeep("crypt", "aes-xts-plain64 00112233 7 8:1 32768 1 allow_discards"),
            "- - - 8:1 32768");
  EXPECT_EQ(ParametersToKeep("integrity", "8:1 0 32 J 1 internal_hash:hmac(sha256):001122"), "8:1");
  EXPECT_EQ(ParametersToKeep("of-tomorrow", "8:1 key"), "");
  EXPECT_EQ(ParametersToKeep("crypt", "aes"), "-");
}

}  // namespace

}  // namespace Ondrel::Host
