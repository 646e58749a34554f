#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Ondrel::Testing {

/// The version pairs that occur, and their neighbours.
inline constexpr std::uint32_t kVersions[][2] = {
    {0, 0},  {3, 0},  {3, 9},  {3, 10}, {3, 11}, {3, 50}, {3, 51}, {3, 52}, {4, 0},  {4, 1}, {4, 9},
    {4, 10}, {4, 11}, {4, 89}, {4, 90}, {4, 91}, {5, 0},  {5, 1},  {5, 2},  {5, 3},  {6, 0}, {6, 1},
    {6, 2},  {6, 3},  {6, 4},  {6, 5},  {7, 0},  {7, 1},  {8, 0},  {10, 0}, {10, 1}, {11, 0}};

/// The edges of all build bands, and their neighbours.
inline std::vector<std::uint32_t> Builds() {
  constexpr std::uint32_t kEdges[] = {950,   951,   1080,  1081,  1213,  1214,  1998,  1999,
                                      2182,  2183,  10240, 10241, 10586, 10587, 14393, 14394,
                                      15063, 15064, 16299, 16300, 17134, 17135, 17599, 17600,
                                      17763, 17764, 18203, 18204, 18362, 18363, 18835, 18836,
                                      19041, 19042, 19043, 19044, 19535, 19536, 20297, 20298};
  std::vector<std::uint32_t> builds = {0, 22000, 65535, 0xFFFFFFFF};
  for (const std::uint32_t edge : kEdges)
    for (const std::uint32_t build : {edge - 1, edge, edge + 1}) builds.push_back(build);
  std::sort(builds.begin(), builds.end());
  builds.erase(std::unique(builds.begin(), builds.end()), builds.end());
  return builds;
}

}  // namespace Ondrel::Testing
