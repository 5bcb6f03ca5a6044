#pragma once

#include <toml++/toml.h>

#include <string>

#include "simulator/machine_description.h"

// Private to this folder: the tape machine in a machine's description.
namespace morvane {

// Reads [card.vtr]; a relative path counts from `folder`. A tape that is there must be whole.
// Throws Refusal (toml_table.h).
[[nodiscard]] DeckDescription ReadDeckDescription(const toml::table& node,
                                                  const std::string& folder);

// Format of the deck's signal: that of its tape, or of the one that would be made.
[[nodiscard]] uint32_t DeckVideoFormat(const DeckDescription& deck);

// Where the deck's tape is: the described folder, or "tape" in the data folder.
[[nodiscard]] std::string DeckTapePath(const DeckDescription& deck);

}  // namespace morvane
