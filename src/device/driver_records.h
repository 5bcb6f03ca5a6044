#pragma once

#include <cstddef>
#include <cstdint>

#include "device/driver_port.h"

// The bytes that cross the driver: property set identifiers, property numbers and every record.
// All words are little-endian, all records packed. An address word is a token of UserMemory, an
// event word a DriverEvent. Bytes without a name are zero.
namespace morvane {

// ---- property sets (also the device class of a board type) ----

// The fields of a textual identifier {a-b-c-rest} in the mixed byte order in which they stand in a
// record: the first three little-endian, the last eight bytes as written.
[[nodiscard]] constexpr PropertySetId MakePropertySetId(uint32_t a, uint16_t b, uint16_t c,
                                                        uint64_t rest) {
  PropertySetId id{};
  for (size_t i = 0; i < 4; ++i) id[i] = static_cast<uint8_t>(a >> (8 * i));
  for (size_t i = 0; i < 2; ++i) id[4 + i] = static_cast<uint8_t>(b >> (8 * i));
  for (size_t i = 0; i < 2; ++i) id[6 + i] = static_cast<uint8_t>(c >> (8 * i));
  for (size_t i = 0; i < 8; ++i) id[8 + i] = static_cast<uint8_t>(rest >> (8 * (7 - i)));
  return id;
}

inline constexpr PropertySetId kPropertySetSdCard =
    MakePropertySetId(0x3280A641, 0x5159, 0x4F43, 0xB55DE05ABB47C350);
inline constexpr PropertySetId kPropertySetHdCard =
    MakePropertySetId(0x84963F56, 0x67FC, 0x461C, 0x8040CC891B87195B);
inline constexpr PropertySetId kPropertySetOem2K =
    MakePropertySetId(0x2BFA1669, 0x17F7, 0x4CF9, 0x8E05500B8CB81497);

// The identifier of board type 2, 4 or 8. Returns: null for any other type.
[[nodiscard]] constexpr const PropertySetId* PropertySetOfBoardType(uint32_t boardType) {
  switch (boardType) {
    case 2:
      return &kPropertySetSdCard;
    case 4:
      return &kPropertySetHdCard;
    case 8:
      return &kPropertySetOem2K;
    default:
      return nullptr;
  }
}

// ---- property numbers ----

enum PropertyNumber : uint32_t {
  PropertyRegister = 0,
  PropertyMap = 2,
  PropertyInterrupt = 3,
  PropertySubscriptionOld = 4,  // subscription and interrupt count of drivers without bit 13
  PropertyDma = 5,
  PropertyAutoCirculateControl = 6,
  PropertyAutoCirculateStatus = 7,
  PropertyFrameStamp = 8,
  PropertyTransfer = 9,
  PropertySubscription = 11,
  PropertyTransferExtended = 12,
  PropertyTransferFull = 14,
  PropertyFrameStampExtended = 15,
  PropertyControl14 = 16,
  PropertyBitFile = 17,
  PropertyAutoCirculateControlWide = 18,  // initialisation of more than one channel
};

inline constexpr uint32_t kPropertyGet = 1;
inline constexpr uint32_t kPropertySet = 2;

inline constexpr uint32_t kMapKindFrames = 0;
inline constexpr uint32_t kMapKindRegisters = 1;
inline constexpr uint32_t kMapKindFlash = 2;

// Code word that makes a get on a subscription property an interrupt count instead.
inline constexpr uint32_t kInterruptCountCode = 12;
// Driver version bit (register 10002) that selects PropertySubscription over the old number.
inline constexpr uint32_t kDriverVersionNewSubscription = 1u << 13;

// DMA engines.
inline constexpr uint32_t kDmaEngineLock = 0;   // locks (read sense) or unlocks pages, no copy
inline constexpr uint32_t kDmaEngineFrame = 1;  // frame memory
inline constexpr uint32_t kDmaEngineAudio = 7;  // audio ring, with the last frame's number

// ---- interrupt types ----

enum RQD5InterruptType : uint32_t {
  InterruptOutput = 0,  // vertical of the output
  InterruptInput1 = 2,
  InterruptInput2 = 3,
  InterruptUartTransmit = 14,
  InterruptUartReceive = 15,
  InterruptLast = 25,
};

#pragma pack(push, 1)

struct PropertyHeader {
  PropertySetId propertySet;
  uint32_t number;  // PropertyNumber
  uint32_t flags;   // kPropertyGet or kPropertySet
};
static_assert(sizeof(PropertyHeader) == 24);

// Get: value out = (register & mask) >> shift. Set: register = (register & ~mask) | ((value <<
// shift) & mask), in one step.
struct RegisterRecord {
  PropertyHeader header;
  uint32_t registerNumber;
  uint32_t value;
  uint32_t mask;
  uint32_t shift;
};
static_assert(sizeof(RegisterRecord) == 40);
static_assert(offsetof(RegisterRecord, value) == 28);

// Get maps (base and size out), set unmaps `base`.
struct MapRecord {
  PropertyHeader header;
  uint32_t base;
  uint32_t size;
  uint32_t kind;  // kMapKind...
  uint32_t reserved36;
};
static_assert(sizeof(MapRecord) == 40);
static_assert(offsetof(MapRecord, kind) == 32);

// Get enables, set disables.
struct InterruptRecord {
  PropertyHeader header;
  uint32_t reserved24;
  uint32_t interruptType;
};
static_assert(sizeof(InterruptRecord) == 32);
static_assert(offsetof(InterruptRecord, interruptType) == 28);

// Get subscribes `event`, set leaves. With code 12 a get returns the interrupt count.
struct SubscriptionRecord {
  PropertyHeader header;
  uint32_t count;  // out, interrupt count only
  uint32_t code;   // 0, or kInterruptCountCode
  uint32_t interruptType;
  uint32_t event;  // DriverEvent
};
static_assert(sizeof(SubscriptionRecord) == 40);
static_assert(offsetof(SubscriptionRecord, interruptType) == 32);
static_assert(offsetof(SubscriptionRecord, event) == 36);

// Get reads from the card, set writes to it.
struct DmaRecord {
  PropertyHeader header;
  uint32_t engine;
  uint32_t buffer;  // token
  uint32_t frameNumber;
  uint32_t bytes;
  uint32_t offset;  // bytes from the start of the frame
  uint32_t reserved44;
  uint32_t reserved48;
  uint32_t reserved52;
  uint8_t synchronous;
  uint8_t reserved57[7];
};
static_assert(sizeof(DmaRecord) == 64);
static_assert(offsetof(DmaRecord, buffer) == 28);
static_assert(offsetof(DmaRecord, offset) == 40);
static_assert(offsetof(DmaRecord, synchronous) == 56);

// What is known of the logic that the card runs. Texts are zero filled and unterminated at 16.
struct RQD5BitFileInfo {
  uint32_t checksum;       // 0 when read from flash
  uint32_t recordVersion;  // 0 when read from flash
  uint32_t recordSize;     // 1024
  uint32_t byteCount;
  char date[16];
  char time[16];
  char designName[16];
  uint32_t kind;  // number of the current bitfile; 0 when read from flash
  char partName[16];
  uint32_t projectNumber;
  uint8_t rest[936];
};
static_assert(sizeof(RQD5BitFileInfo) == 1024);
static_assert(offsetof(RQD5BitFileInfo, date) == 16);
static_assert(offsetof(RQD5BitFileInfo, kind) == 64);
static_assert(offsetof(RQD5BitFileInfo, partName) == 68);
static_assert(offsetof(RQD5BitFileInfo, rest) == 88);

// What a machine elsewhere tells of the build of its logic; asked for remotely alone.
struct RQD5BuildInfo {
  uint32_t word0;
  uint32_t word1;
  char text[1024];
};
static_assert(sizeof(RQD5BuildInfo) == 1032);
static_assert(offsetof(RQD5BuildInfo, text) == 8);

struct BitFileRecord {
  PropertyHeader header;
  RQD5BitFileInfo info;
};
static_assert(sizeof(BitFileRecord) == 1048);

// One register of a multiple read. Also its wire form.
struct RQD5RegisterEntry {
  uint32_t registerNumber;
  uint32_t value;
  uint32_t mask;
  uint32_t shift;
};
static_assert(sizeof(RQD5RegisterEntry) == 16);

// A run of masked register writes. As the extra block of an extended transfer the driver writes it
// at the boundary that shows the frame.
inline constexpr uint32_t kRoutingTableLimit = 15;  // a table of so many entries is refused
struct RQD5RoutingEntry {
  uint32_t registerNumber;
  uint32_t mask;
  uint32_t shift;
  uint32_t value;
};
struct RQD5RoutingTable {
  uint32_t count;
  RQD5RoutingEntry entries[15];
};
static_assert(sizeof(RQD5RoutingTable) == 244);

// ---- AutoCirculate ----

// What a ring is doing. Times in 100 ns of the card's clock.
struct RQD5AutoCirculateStatus {
  uint32_t channelSpec;
  uint32_t state;  // RQD5AutoCirculateState
  uint32_t startFrame;
  uint32_t endFrame;
  uint32_t activeFrame;  // 0xFFFFFFFF until a frame is active
  uint32_t reserved20;
  uint64_t startTime;
  uint64_t boundaryTime;
  uint64_t audioClockStart;
  uint64_t audioClockNow;
  uint32_t framesProcessed;
  uint32_t framesDropped;
  uint32_t bufferLevel;  // frames waiting
  uint8_t withAudio;
  uint8_t option0;  // the options of initialisation
  uint8_t option1;
  uint8_t reserved71;
  uint8_t option2;
  uint8_t timecodePresent;
  uint8_t flag6;
  uint8_t reserved75[5];
};
static_assert(sizeof(RQD5AutoCirculateStatus) == 80);
static_assert(offsetof(RQD5AutoCirculateStatus, startTime) == 24);
static_assert(offsetof(RQD5AutoCirculateStatus, framesProcessed) == 56);
static_assert(offsetof(RQD5AutoCirculateStatus, withAudio) == 68);
static_assert(offsetof(RQD5AutoCirculateStatus, option2) == 72);

// One frame's timecode as two words of binary-coded digits; flags bit 16 says valid.
struct RQD5Rp188 {
  uint32_t flags;
  uint32_t low;
  uint32_t high;
};

// Times in 100 ns of the card's clock.
struct RQD5FrameStamp {
  uint32_t channelSpec;
  uint32_t reserved4;
  uint64_t boundaryTime;
  uint32_t frameNumber;
  uint32_t framesProcessed;  // up to and including this one
  uint64_t audioClock;
  uint32_t audioInStart;
  uint32_t audioInStop;
  uint32_t audioOutStart;
  uint32_t audioOutStop;
  uint32_t audioBytes;
  uint32_t audioStartChannel;
  uint32_t userData;
  RQD5Rp188 rp188;
  RQD5Rp188 externalLtc;
  uint32_t line;
  uint64_t now;
  uint32_t framesDropped;
  uint32_t bufferLevel;
  uint8_t reserved104[24];
};
static_assert(sizeof(RQD5FrameStamp) == 128);
static_assert(offsetof(RQD5FrameStamp, frameNumber) == 16);
static_assert(offsetof(RQD5FrameStamp, audioInStart) == 32);
static_assert(offsetof(RQD5FrameStamp, userData) == 56);
static_assert(offsetof(RQD5FrameStamp, externalLtc) == 72);
static_assert(offsetof(RQD5FrameStamp, now) == 88);
static_assert(offsetof(RQD5FrameStamp, bufferLevel) == 100);

struct RQD5AutoCirculateTransferStatus {
  uint32_t channelSpec;
  uint32_t state;
  int32_t transferFrame;  // -1: nothing was transferred
  uint32_t bufferLevel;
  uint32_t framesProcessed;
  uint32_t framesDropped;
  uint32_t audioBytes;
  uint32_t audioStartChannel;
  RQD5FrameStamp stamp;
};
static_assert(sizeof(RQD5AutoCirculateTransferStatus) == 160);
static_assert(offsetof(RQD5AutoCirculateTransferStatus, transferFrame) == 8);
static_assert(offsetof(RQD5AutoCirculateTransferStatus, stamp) == 32);

// A transfer as it crosses the driver; RQD5AutoCirculateTransfer (autocirculate.h) is its form in
// the code, with pointers in place of the two tokens.
struct TransferRecord {
  uint32_t channelSpec;
  uint32_t videoBuffer;  // token
  uint32_t videoSize;
  uint32_t videoOffset;
  uint32_t audioBuffer;  // token
  uint32_t audioSize;
  uint32_t audioOffset;
  uint32_t frameBufferFormat;
  uint32_t flip;
  uint32_t colourCorrection[3];
  int32_t frameRequest;  // -1: the next available
  uint32_t userData;
  RQD5Rp188 rp188;
  uint32_t reserved68;
  uint32_t constant72;  // playback sends 0, 6, 1 and 1 in these four
  uint32_t constant76;
  uint32_t constant80;
  uint8_t constant84;
  uint8_t reserved85[59];
};
static_assert(sizeof(TransferRecord) == 144);
static_assert(offsetof(TransferRecord, audioBuffer) == 16);
static_assert(offsetof(TransferRecord, colourCorrection) == 36);
static_assert(offsetof(TransferRecord, frameRequest) == 48);
static_assert(offsetof(TransferRecord, rp188) == 56);
static_assert(offsetof(TransferRecord, constant72) == 72);
static_assert(offsetof(TransferRecord, constant84) == 84);

inline constexpr size_t kExtraBlockBytes = 36;  // the opaque block of commands 12, 13 and 14

// Commands 0 (one channel), 1, 2, 3, 6, 7, 9, 10.
struct AutoCirculateControlRecord {
  PropertyHeader header;
  uint32_t command;
  uint32_t channelSpec;
  int32_t value1;
  int32_t value2;
  int32_t value3;
  uint8_t flags[8];
  uint32_t reserved52;
};
static_assert(sizeof(AutoCirculateControlRecord) == 56);
static_assert(offsetof(AutoCirculateControlRecord, flags) == 44);

// Command 0 with more than one channel.
struct AutoCirculateControlWideRecord {
  PropertyHeader header;
  uint32_t command;
  uint32_t channelSpec;
  int32_t value1;
  int32_t value2;
  int32_t value3;
  int32_t value4;
  uint8_t reserved48[24];
  uint8_t flags[8];
  uint8_t reserved80[8];
};
static_assert(sizeof(AutoCirculateControlWideRecord) == 88);
static_assert(offsetof(AutoCirculateControlWideRecord, flags) == 72);

// Command 4.
struct AutoCirculateStatusRecord {
  PropertyHeader header;
  uint32_t command;
  uint32_t channelSpec;
  RQD5AutoCirculateStatus status;
};
static_assert(sizeof(AutoCirculateStatusRecord) == 112);
static_assert(offsetof(AutoCirculateStatusRecord, status) == 32);

// Command 5.
struct FrameStampRecord {
  PropertyHeader header;
  uint32_t command;
  uint32_t channelSpec;
  int32_t frame;
  uint32_t reserved36;
  RQD5FrameStamp stamp;
};
static_assert(sizeof(FrameStampRecord) == 168);
static_assert(offsetof(FrameStampRecord, stamp) == 40);

// Commands 13, and 14 (with frame 0 and a zero stamp).
struct FrameStampExtendedRecord {
  FrameStampRecord base;
  uint8_t block[kExtraBlockBytes];
  uint32_t reserved204;
};
static_assert(sizeof(FrameStampExtendedRecord) == 208);
static_assert(offsetof(FrameStampExtendedRecord, block) == 168);

// Command 8. What comes back is the status alone, 160 bytes.
struct TransferRequestRecord {
  PropertyHeader header;
  uint32_t command;
  TransferRecord transfer;
  uint32_t reserved172;
  RQD5AutoCirculateTransferStatus status;
};
static_assert(sizeof(TransferRequestRecord) == 336);
static_assert(offsetof(TransferRequestRecord, transfer) == 28);
static_assert(offsetof(TransferRequestRecord, status) == 176);

// Command 11.
struct TransferExtendedRecord {
  TransferRequestRecord base;
  RQD5RoutingTable extra;
  uint32_t reserved580;
};
static_assert(sizeof(TransferExtendedRecord) == 584);
static_assert(offsetof(TransferExtendedRecord, extra) == 336);

// Command 12.
struct TransferFullRecord {
  TransferRequestRecord base;
  RQD5RoutingTable extra;
  uint8_t block[kExtraBlockBytes];
};
static_assert(sizeof(TransferFullRecord) == 616);
static_assert(offsetof(TransferFullRecord, block) == 580);

#pragma pack(pop)

}  // namespace morvane
