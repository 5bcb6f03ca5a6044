#include "shell/process_objects.h"

#include <new>

#include "base/system.h"

namespace morvane {
namespace {

constexpr size_t kNameCharacters = 12;  // separator and "morvane-gui"
constexpr size_t kPathCapacity = 4096;
constexpr int kMatrices = 4;
constexpr int kPreviewMatrix = 3;
constexpr int kYuvToRgb = 1;

}  // namespace

const NxColorTables* ProcessObjects::PreviewTable(int bits) const {
  return colorTables[static_cast<size_t>(bits == 10 ? kMatrices + kPreviewMatrix : kPreviewMatrix)]
      .get();
}

std::string CutModulePath(const std::string& path) {
  if (path.size() <= kNameCharacters) return path;
  return path.substr(0, path.size() - kNameCharacters);
}

std::string ModuleFolderOf(NxErr told, const std::string& path) {
  return told == NxErrSuccess ? CutModulePath(path) : "/";
}

std::string ModuleFolder() {
  std::array<char, kPathCapacity> path = {};
  const NxErr told = NxModulePath(path.data(), path.size());
  return ModuleFolderOf(told, path.data());
}

void BuildColorTables(ProcessObjects* objects) {
  for (int i = 0; i < kColorTables; ++i) {
    auto& table = objects->colorTables[static_cast<size_t>(i)];
    table.reset(new (std::nothrow) NxColorTables);
    if (table == nullptr) continue;
    table->matrix = i % kMatrices;
    (void)BuildConversionTables(i < kMatrices ? 8 : 10, table.get(), kYuvToRgb);
  }
}

}  // namespace morvane
