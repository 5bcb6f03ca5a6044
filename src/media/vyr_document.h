#pragma once

#include <string>

#include "media/data_vyr.h"

// The text of a sidecar.
namespace morvane {

// Writes the document of `head` and `metadata`. Returns: false, with `text` empty, if libxml2
// refuses or memory is short.
[[nodiscard]] bool BuildVyrDocument(const NxVyrHead& head, const NxMediaMetadata& metadata,
                                    std::string* text);
// Reads a document. Elements are expected in their order: at one that is missing, empty or has
// another name the rest of its group takes its defaults and reading goes on at the next group.
// Returns: false if `text` is no XML.
[[nodiscard]] bool ParseVyrDocument(const std::string& text, NxVyrHead* head,
                                    NxMediaMetadata* metadata);

}  // namespace morvane
