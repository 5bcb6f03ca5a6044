// Every row of every still format in every raster, in the eyes of every program that reads it.
#include <gtest/gtest.h>

#include "media/foreign_reader.h"

namespace morvane {
namespace {

using namespace morvane::test;

class StillMatrix : public testing::TestWithParam<std::tuple<NxFileType, Raster>> {};

TEST_P(StillMatrix, EveryRowIsReadByOthersToThePixel) {
  const auto [type, raster] = GetParam();
  std::vector<std::pair<StillRow, Raster>> rows;
  for (const StillRow& row : RowsOf(type)) rows.push_back({row, raster});
  CheckRows(rows, {Judge::kFfmpeg, Judge::kOiio, Judge::kMagick});
}

std::string CellName(const testing::TestParamInfo<std::tuple<NxFileType, Raster>>& info) {
  const auto [type, raster] = info.param;
  return ExtensionOfType(type) + "_" + std::to_string(raster.width) + "x" +
         std::to_string(raster.height);
}
INSTANTIATE_TEST_SUITE_P(Formats, StillMatrix,
                         testing::Combine(testing::ValuesIn(kStillTypes),
                                          testing::ValuesIn(kRasters)),
                         CellName);

}  // namespace
}  // namespace morvane
