// Any bytes as a clip's sidecar. What is read can be written again, and then reads the same.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "media/vyr_document.h"

using namespace morvane;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto head = std::make_unique<NxVyrHead>();
  const auto metadata = std::make_unique<NxMediaMetadata>();
  if (!ParseVyrDocument(text, head.get(), metadata.get())) return 0;
  std::string written;
  if (!BuildVyrDocument(*head, *metadata, &written)) std::abort();
  const auto again = std::make_unique<NxVyrHead>();
  const auto block = std::make_unique<NxMediaMetadata>();
  if (!ParseVyrDocument(written, again.get(), block.get())) std::abort();
  // A clip without a name loses what stands behind it: an empty element ends its group.
  if (head->clipName[0] == 0) return 0;
  if (again->timeScale != head->timeScale || again->fieldType != head->fieldType ||
      block->presentFlags != metadata->presentFlags || block->timeCode != metadata->timeCode ||
      block->userBits != metadata->userBits) {
    std::abort();
  }
  return 0;
}
