#pragma once

#include <array>
#include <memory>
#include <string>

#include "base/board_locks.h"
#include "processing/conversion_tables.h"

namespace morvane {

inline constexpr int kColorTables = 8;  // four matrices at 8 bits, then the same at 10

// What the process has once, from the start to the end.
// Threads: made, changed and destroyed on the main thread; tables and folder are read by all.
struct ProcessObjects {
  std::string moduleFolder;  // all that is installed lies below it
  BoardLocks locks;
  // Null where memory was short.
  std::array<std::unique_ptr<NxColorTables>, kColorTables> colorTables;
  bool quit = false;  // ends the message loop

  // The table that previews take: video range of 709.
  [[nodiscard]] const NxColorTables* PreviewTable(int bits) const;
};

// The folder of the executable at `path`: a path longer than 12 characters without its last 12,
// which are a separator and a name of eleven characters.
// Deliberate: no separator is looked for, so the name's length is part of the installation.
[[nodiscard]] std::string CutModulePath(const std::string& path);
// The same for a path as the system told it (`told` is what NxModulePath returned); the root folder
// when it could not.
[[nodiscard]] std::string ModuleFolderOf(NxErr told, const std::string& path);
[[nodiscard]] std::string ModuleFolder();  // of this process
// Makes the eight tables.
void BuildColorTables(ProcessObjects* objects);

}  // namespace morvane
