#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fourcc.h"
#include "base/nx_err.h"
#include "media/media_text.h"
#include "processing/color_context.h"

// The plain records that engines and format classes exchange. Those whose bytes are copied whole
// (into a file's tail, or by size between layers) are packed: take their fields by value.
namespace morvane {

inline constexpr int kMaxAudioFiles = 16;

enum NxFileType : int32_t {
  NxFileTypeNone = -1,
  NxFileTypeMOV = 0,
  NxFileTypeAVI = 1,
  NxFileTypeDPX = 2,
  NxFileTypeCIN = 3,
  NxFileTypeTGA = 4,
  NxFileTypeBMP = 5,
  NxFileTypeTIF = 6,
  NxFileTypeYUV = 7,
};
inline constexpr int kNxFileTypeCount = 8;

// What a clip holds, or what is to be written.
enum NxStreams : uint32_t {
  NxStreamsBoth = 0,
  NxStreamsPicture = 1,
  NxStreamsAudio = 2,
  NxStreamsPictureAndSidecarAudio = 4,  // a sequence, after open
};
inline constexpr uint32_t kOrientationBottomUp = 0;
inline constexpr uint32_t kOrientationTopDown = 1;

// Sections of NxMediaMetadata, bits of `presentFlags`.
enum NxMetadataBit : uint32_t {
  kMetaKeyKode = 0x01,
  kMetaTimeCode = 0x02,
  kMetaProject = 0x04,
  kMetaReelName = 0x08,
  kMetaDescription = 0x10,
  kMetaScene = 0x20,
  kMetaShot = 0x40,
  kMetaTake = 0x80,
  kMetaExtended = 0x100,
};
inline constexpr uint32_t kMetaAllBits = 0x1FF;
inline constexpr uint32_t kMetadataMagic = 0x12345678;
inline constexpr uint32_t kTimeCodePresent = 2;  // `flags` of NxTimeCodeRecord

// The extended section: log fields of the editing program that cut the clip.
struct [[gnu::packed]] NxMediaExtended {
  uint32_t kind;   // 1
  uint32_t bytes;  // 1532
  char orgTC[18];
  int32_t orgTCScale;
  int32_t orgTCRate;
  char altTC[18];
  int32_t altTCScale;
  int32_t altTCRate;
  char orgReelName[40];
  char altReelName[40];
  char comment[256];
  uint32_t dataType;
  uint8_t filler[1132];
};
static_assert(sizeof(NxMediaExtended) == 1532);

// The clip's descriptive block; a section counts only if its bit is set in `presentFlags`.
// Texts are UTF-8 and end at the terminator or the field's end.
struct [[gnu::packed]] NxMediaMetadata {
  uint32_t valid;  // 1 once written
  uint32_t presentFlags;
  uint8_t keyKode[14];  // film key number: 8, 4 and 2 bytes
  uint32_t timeCode;    // of the first frame, packed BCD
  uint32_t userBits;
  uint32_t timeCodeType;  // 0 film 24, 1 PAL family, 2 NTSC family
  uint8_t dropFrame;
  int32_t tcScale;
  int32_t tcRate;
  char project[64];
  char reelName[32];
  char description[128];
  char scene[64];
  char shot[32];
  char take[32];
  NxMediaExtended extended;
  uint8_t filler[2161];
  uint32_t size;   // 4096
  uint32_t magic;  // kMetadataMagic
};
static_assert(sizeof(NxMediaMetadata) == 4096);
static_assert(offsetof(NxMediaMetadata, reelName) == 107);
static_assert(offsetof(NxMediaMetadata, extended) == 395);
static_assert(offsetof(NxMediaMetadata, size) == 4088);

// Copies each section of `from` whose bit is set into `into`, sets the bit there and completes the
// block (valid, size, magic, head of the extended section).
// Returns: 0, or -2 with `into` unchanged if no section bit is set.
NxErr MergeMetadata(const NxMediaMetadata& from, NxMediaMetadata* into);
// Sets valid, size, magic and the head of the extended section.
void CompleteMetadata(NxMediaMetadata* metadata);

// One frame's timecode; the layout of the head of NxMediaMetadata without `valid`.
struct [[gnu::packed]] NxTimeCodeRecord {
  uint32_t flags;  // kTimeCodePresent, or 0 for none
  uint8_t keyKode[14];
  uint32_t timeCode;  // packed BCD
  uint32_t userBits;
  uint32_t timeCodeType;
  uint8_t dropFrame;
  int32_t tcScale;
  int32_t tcRate;
};
static_assert(sizeof(NxTimeCodeRecord) == 39);

struct [[gnu::packed]] NxMediaAudioInfo {
  FourCCCode fourcc;  // "16au", "24au", "32au", "32af"
  char name[64];
  NxWideText<64> wideName;
  int32_t channelsPerFile;
  float sampleRate;
  int32_t bitsPerSample;
  uint8_t bigEndian;      // 0 in files that this program writes
  int32_t fileCount;      // tracks, 1..16
  int32_t bytesPerFrame;  // one sample of every channel
};
static_assert(sizeof(NxMediaAudioInfo) == 217);
using NxAudioWriteFormatDescription = NxMediaAudioInfo;

// The head that both info records share.
struct [[gnu::packed]] NxMediaInfoHead {
  uint32_t streams;
  FourCCCode fourcc;
  uint32_t orientation;  // 1 top to bottom, 0 bottom to top
  int32_t fieldType;     // interlace order, -1 unknown
  int32_t width;
  int32_t height;
  int32_t parNum;  // pixel aspect ratio, -1 unknown
  int32_t parDen;
  int32_t unused[2];  // -1
  char name[64];
  NxWideText<64> wideName;
  int32_t bitDepth;
  int32_t imageBytes;   // pixels of one frame
  int32_t frameBytes;   // one frame as stored, padded up to 512
  int32_t imageOffset;  // header before the pixels
  int32_t linePixels;   // pixels of a stored line when writing; 0 from a parsed header
  int32_t linePitch;    // bytes
  uint8_t reserved;
};
static_assert(sizeof(NxMediaInfoHead) == 257);

// Given to CreateWrite and returned by GetWriteInfo.
struct [[gnu::packed]] NxMediaCreateInfo : NxMediaInfoHead {
  NxMediaAudioInfo audio;
  NxMediaMetadata metadata;
  int32_t timeScale;  // frame rate is timeScale / timeRate
  int32_t timeRate;
};
static_assert(sizeof(NxMediaCreateInfo) == 4578);

// Returned by OpenRead and GetReadInfo.
struct [[gnu::packed]] NxMediaFileInfo : NxMediaInfoHead {
  uint8_t reserved2;
  FourCCCode nativeFourcc;  // the second format to ask for
  int32_t frameCount;
  NxMediaAudioInfo audio;
  uint64_t samplesPerFile[kMaxAudioFiles];  // sample frames
  NxMediaMetadata metadata;
  int32_t timeScale;
  int32_t timeRate;
};
static_assert(sizeof(NxMediaFileInfo) == 4715);

// What a class can write; returned by index.
struct [[gnu::packed]] NxImageWriteFormatDescription {
  FourCCCode fourcc;
  char name[64];
  NxWideText<64> wideName;
  uint32_t orientation;
  uint32_t bitDepth;
  uint8_t flags[6];  // 0, 1, 0, 1, 0, 0
  uint32_t unused[2];
  uint8_t hasQuality;
  uint32_t qualityMinimum;
  uint32_t qualityMaximum;
  uint32_t qualityDefault;
  uint8_t unusedFlag;
  uint32_t unused2[2];
};
static_assert(sizeof(NxImageWriteFormatDescription) == 240);

inline constexpr size_t kMetadataCapsBytes = 42;

}  // namespace morvane
