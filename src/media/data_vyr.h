#pragma once

#include <cstdint>
#include <string>

#include "media/file_handle.h"
#include "media/media_records.h"
#include "media/media_text.h"

namespace morvane {

inline constexpr size_t kVyrClipNameChars = 4096;
inline constexpr uint64_t kVyrMaxBytes = 1048576;  // a larger document is refused

// What a sidecar says beside the metadata.
struct NxVyrHead {
  char16_t clipName[kVyrClipNameChars];
  int32_t parNum;
  int32_t parDen;
  int32_t timeScale;
  int32_t timeRate;
  int32_t fieldType;
};
static_assert(sizeof(NxVyrHead) == 8212);

// The sidecar of a clip: a small XML document, extension ".vyr", beside the frames.
// Documents come from anywhere: no external entity is loaded, elements that are missing or out of
// order leave defaults behind, a body that is no XML is an error.
// Threads: an object lives in one call of its user; no lock. NxDataVYRInit before the first one.
// The operations stand in their fixed order.
class NxDataVYR {
 public:
  NxDataVYR() = default;
  NxDataVYR(const NxDataVYR&) = delete;
  NxDataVYR& operator=(const NxDataVYR&) = delete;
  virtual ~NxDataVYR() = default;

  // Reads the document at `path`. `clipNameOut` holds kVyrClipNameChars; `headOut` may be null.
  // Returns: 0 and open for reading; 10002; 1 for a null `clipNameOut`; 100005 for a file that
  // cannot be read, is above kVyrMaxBytes or does not parse, and then closed.
  virtual NxErr OpenRead(NxText path, char16_t* clipNameOut, NxVyrHead* headOut,
                         uint32_t createMode, uint32_t accessFlags, bool wide);
  virtual NxErr GetMetadata(NxMediaMetadata* metadata);  // 2 if closed or null
  // Reading: merges and rewrites the file; -2 with the old block if that fails.
  // Writing: replaces the block and returns -2.
  virtual NxErr SetMetadata(const NxMediaMetadata* metadata);
  virtual NxErr ReservedA() { return NxErrParameterNotSupported; }
  virtual NxErr ReservedB() { return NxErrSuccess; }
  // Writes a new document from `head` (its rate normalised) and `metadata`; `folder` is kept for
  // GetFolder. A document that is there already stays as it is.
  // Returns: 0 and open for writing, also when the file was there or could not be made (Written
  // tells); 10002; 1 for a null `folder`; -2 with nothing written if the document cannot be built.
  virtual NxErr OpenWrite(NxText path, NxText folder, const NxMediaMetadata* metadata,
                          uint32_t createMode, uint32_t accessFlags, bool wide);
  [[nodiscard]] virtual NxErr IsReadable() const;  // 0 if open for reading, else -2
  [[nodiscard]] virtual NxFileHandle* GetHandle() { return &file_; }
  virtual NxErr GetFolder(void* target, bool wide) const;  // up to 259 characters in 8-bit form
  virtual NxErr Close();                                   // -2 if not open
  virtual NxErr DeleteFile();                              // -2 while open
  virtual NxErr DeleteAllFiles();
  virtual NxErr GetClipName(void* target, bool wide) const;  // up to 31 characters in 8-bit form

  // True if OpenWrite made the file.
  [[nodiscard]] bool Written() const { return written_; }

  NxVyrHead head = {};  // set before OpenWrite

 private:
  NxErr ReadDocument();
  NxErr CreateDocument();
  NxErr ReplaceDocument();

  NxFileHandle file_;
  uint32_t createMode_ = 0;
  uint32_t accessFlags_ = 0;
  std::string path_;
  std::string folder_;
  NxMediaMetadata metadata_ = {};
  bool isOpenRead_ = false;
  bool isOpenWrite_ = false;
  bool written_ = false;
};

// Start and stop of the parser; counted. Threads: main.
void NxDataVYRInit();
void NxDataVYRDeinit();

// The rate pair under which a sidecar stores `scale`/`rate`: 25/1 becomes 25000/1000 and the like;
// pairs without a row stay.
void NormalizeVyrRate(int32_t* scale, int32_t* rate);

}  // namespace morvane
