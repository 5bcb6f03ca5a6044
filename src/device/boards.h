#pragma once

#include <cstdint>
#include <span>

// Everything that differs from board to board, as rows and pure functions of the board identity
// (register 50). Identity 0 is the oldest board and a valid one; an unknown identity has no name,
// no memory, no capability.
// Threads: any.
namespace morvane {

// A board's type decides by which device class it is found. Bit-like.
enum RQD5BoardType : uint32_t {
  BOARDTYPE_UNKNOWN = 0,
  BOARDTYPE_QUIPZ = 1,
  BOARDTYPE_SDCARD = 2,
  BOARDTYPE_HDCARD = 4,
  BOARDTYPE_OEM2K = 8,
  BOARDTYPE_SORN2 = 16,
  BOARDTYPE_SORNX = 32,
  BOARDTYPE_SYNCBOX = 64,
  BOARDTYPE_HULLEN = 128,
};

enum BoardIdentity : uint32_t {
  BoardAspen = 0x00000000,
  BoardBasil = 0x10111900,
  BoardCassia = 0x10113800,
  BoardCassia2 = 0x10113801,
  BoardDamson = 0x10114400,
  BoardEbony = 0x10120900,
  BoardEbony2 = 0x10120901,
  BoardFennel = 0x10128600,
  BoardGorse = 0x10133700,
  BoardHeath = 0x10133900,
  BoardHeath2 = 0x10133901,
  BoardIris = 0x10148300,
  BoardJasmine = 0x10152100,
  BoardKale = 0x10156100,
  BoardLaurel = 0x10160100,
  BoardKale2 = 0x10160200,
  BoardAlder = 0x10174700,
  BoardBirch = 0x10182800,
  BoardBirch2 = 0x10182801,
  BoardCedar = 0x10183400,
  BoardDogwood = 0x10184500,
  BoardElm = 0x10196500,
  BoardFir = 0x10203000,
  BoardGinkgo = 0x10207701,
  BoardHazel = 0x10212300,  // its name text is the same as that of BoardFir
  BoardHazel2 = 0x10212304,
  BoardIlex = 0x10224000,
  BoardDexel = 0x10244100,
  BoardKapok = 0x10244800,
  BoardLarch = 0x10266400,
  BoardMaple = 0x10280300,
  BoardNutmeg = 0x10293000,
  BoardOak = 0x10294700,
  BoardPoplar = 0x10294900,
  BoardQuince = 0x10322950,
  BoardRowan = 0x10327200,
  BoardSpruce = 0x10352300,
  BoardFennick = 0x10355900,
  BoardWayxt = 0x10378800,
};
inline constexpr uint32_t kNoBoardIdentity = 0xFFFFFFFF;  // what a failed read stands for

// How the slots of frame memory grow with geometry and format.
enum class SlotLayout : uint8_t {
  Fixed,    // factor 1
  Older,    // factor 2 at geometry 10 alone
  Doubled,  // two channels, doubled slots
  FourChannel,
};

struct BoardRow {
  const char* name;  // ends in one blank
  uint32_t identity;
  uint32_t boardType;
  uint32_t memoryMiB;
  uint32_t slotMiB;
  uint32_t frames;     // at the default geometry
  uint32_t registers;  // saved and restored by SwitchBitfile
  uint32_t videoIn;
  uint32_t videoOut;
  uint32_t analogOut;
  uint32_t analogIn;
  uint32_t hdmiOut;
  uint32_t hdmiIn;
  uint32_t converters;
  uint32_t audioSystems;
  SlotLayout layout;
  uint32_t capabilities;  // BoardCapability bits
};

enum BoardCapability : uint32_t {
  CapabilityQuadGeometry = 1u << 0,
  Capability3GInput = 1u << 1,
  CapabilityTimingNormalSense = 1u << 2,
  CapabilitySwitchableSlotSize = 1u << 3,
  CapabilityAudio = 1u << 4,
  CapabilityAnalogAudioIn = 1u << 5,
  CapabilityAudio96k = 1u << 6,
  CapabilityTwoChannelAudio = 1u << 7,
  CapabilitySixChannelAudio = 1u << 8,
  CapabilityEightChannelAudio = 1u << 9,
  CapabilitySettleWait = 1u << 10,
  CapabilityBitfileInFlash = 1u << 11,
  CapabilityUart = 1u << 12,
  CapabilityKeyer = 1u << 13,
  CapabilitySmallAudioBuffer = 1u << 14,
};

// All boards, by rising identity.
[[nodiscard]] std::span<const BoardRow> BoardRows();
// Returns: null for an unknown identity.
[[nodiscard]] const BoardRow* FindBoard(uint32_t identity);

// The board as which the session's per-board decisions treat `identity`: Oak and Wayxt stand for
// Elm, Spruce for Dogwood. Names and memory figures use the real one.
[[nodiscard]] uint32_t SessionIdentity(uint32_t identity);

// "BOARD NOT FOUND " for kNoBoardIdentity, empty for an unknown identity.
[[nodiscard]] const char* BoardName(uint32_t identity);
[[nodiscard]] uint32_t FrameMemorySize(uint32_t identity);  // bytes of the mapped frame window
// Whether channel 2 has a mapped window of its own, behind the first and of the same size.
[[nodiscard]] bool BoardHasSecondFrameWindow(uint32_t identity);
[[nodiscard]] uint32_t FrameSlotSize(uint32_t identity);  // base size of a slot, bytes
[[nodiscard]] uint32_t FrameTotal(uint32_t identity);     // slots at the default geometry
[[nodiscard]] uint32_t RegisterCount(uint32_t identity);
[[nodiscard]] uint32_t AudioSystemCount(uint32_t identity);
[[nodiscard]] uint32_t AudioBufferSize(uint32_t identity);  // bytes of one audio system

[[nodiscard]] bool BoardHasQuadGeometry(uint32_t identity);
[[nodiscard]] bool BoardHas3GInput(uint32_t identity);
[[nodiscard]] bool BoardTimingNormalSense(uint32_t identity);
[[nodiscard]] bool BoardSwitchableSlotSize(uint32_t identity);
[[nodiscard]] bool BoardHasAudio(uint32_t identity);
[[nodiscard]] bool BoardHasAnalogAudioIn(uint32_t identity);
[[nodiscard]] bool BoardHasAudio96k(uint32_t identity);
[[nodiscard]] bool BoardHasTwoChannelAudio(uint32_t identity);
[[nodiscard]] bool BoardHasSixChannelAudio(uint32_t identity);
[[nodiscard]] bool BoardHasEightChannelAudio(uint32_t identity);
[[nodiscard]] bool BoardHasSettleWait(uint32_t identity);
[[nodiscard]] bool BoardBitfileInFlash(uint32_t identity);
[[nodiscard]] bool BoardHasUart(uint32_t identity);
[[nodiscard]] bool BoardHasKeyer(uint32_t identity);

// Bytes of one frame slot, and number of slots, at a geometry and frame-buffer format.
[[nodiscard]] uint32_t FrameBufferSize(uint32_t identity, uint32_t geometry,
                                       uint32_t frameBufferFormat);
[[nodiscard]] uint32_t FrameCount(uint32_t identity, uint32_t geometry, uint32_t frameBufferFormat);

}  // namespace morvane
