#pragma once

#include "device/boards.h"

namespace morvane {

// clang-format off
namespace board_table {
inline constexpr uint32_t QUAD = CapabilityQuadGeometry, IN3G = Capability3GInput,
    NORM = CapabilityTimingNormalSense, SLOT = CapabilitySwitchableSlotSize, AUD = CapabilityAudio,
    AIN = CapabilityAnalogAudioIn, A96 = CapabilityAudio96k, CH2 = CapabilityTwoChannelAudio,
    CH6 = CapabilitySixChannelAudio, CH8 = CapabilityEightChannelAudio,
    WAIT = CapabilitySettleWait, FLASH = CapabilityBitfileInFlash, UART = CapabilityUart,
    KEY = CapabilityKeyer, SMALL = CapabilitySmallAudioBuffer;

inline constexpr BoardRow kBoards[] = {
  // name     identity      type              MiB slot frames regs  in out  analog  hdmi  conv audio layout               capabilities
  //                                                                 vid    out in  out in    systems
  { "Aspen ",   BoardAspen,   BOARDTYPE_HDCARD,   32,  8,   8,    63,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Basil ",   BoardBasil,   BOARDTYPE_SDCARD,    8,  2,  64,    63,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Cassia ",  BoardCassia,  BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Cassia2 ", BoardCassia2, BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Damson ",  BoardDamson,  BOARDTYPE_SDCARD,    8,  2,  64,    63,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Ebony ",   BoardEbony,   BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Ebony2 ",  BoardEbony2,  BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Fennel ",  BoardFennel,  BOARDTYPE_SDCARD,    8,  2,  64,    63,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        UART },
  { "Gorse ",   BoardGorse,   BOARDTYPE_SDCARD,    8,  2,  64,    63,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Heath ",   BoardHeath,   BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Heath2 ",  BoardHeath2,  BOARDTYPE_HDCARD,   32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | UART },
  { "Iris ",    BoardIris,    BOARDTYPE_HDCARD,   32,  8,  32,    80,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | CH8 | UART },
  { "Jasmine ", BoardJasmine, BOARDTYPE_SDCARD,    8,  2,  64,    63,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        UART },
  { "Kale ",    BoardKale,    BOARDTYPE_HDCARD,   32,  8,  32,    80,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        UART },
  { "Laurel ",  BoardLaurel,  BOARDTYPE_HDCARD,   32,  8,  32,    80,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 | CH8 | UART },
  { "Kale2 ",   BoardKale2,   BOARDTYPE_HDCARD,   32,  8,  32,    80,  2,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        UART },
  { "Alder ",   BoardAlder,   BOARDTYPE_OEM2K,    32,  8,  16,   237,  2,  2,  1,  0,  0,  0,  1,  1, SlotLayout::Fixed,        NORM | AUD | CH6 | CH8 | UART | SMALL },
  { "Birch ",   BoardBirch,   BOARDTYPE_OEM2K,    32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Older,        SLOT | AUD | CH6 | UART },
  { "Birch2 ",  BoardBirch2,  BOARDTYPE_OEM2K,    32,  8,  32,    80,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Older,        SLOT | AUD | CH6 | UART },
  { "Cedar ",   BoardCedar,   BOARDTYPE_OEM2K,     8,  2,  32,   151,  1,  2,  1,  1,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | AIN | CH2 | CH6 | CH8 | WAIT | UART },
  { "Dogwood ", BoardDogwood, BOARDTYPE_OEM2K,    32,  8,  16,   151,  1,  2,  1,  1,  0,  0,  0,  1, SlotLayout::Older,        SLOT | AUD | AIN | CH2 | CH6 | CH8 | WAIT | UART | SMALL },
  { "Elm ",     BoardElm,     BOARDTYPE_OEM2K,    32,  8,  32,   237,  2,  2,  1,  0,  0,  0,  1,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | A96 | CH8 | UART | KEY | SMALL },
  { "Fir ",     BoardFir,     BOARDTYPE_OEM2K,    32,  8,  32,   151,  2,  2,  1,  1,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | AIN | CH8 | UART },
  { "Ginkgo ",  BoardGinkgo,  BOARDTYPE_HULLEN,    0,  0,   0,   255,  2,  1,  1,  1,  0,  0,  0,  1, SlotLayout::Fixed,        NORM | AUD | AIN | A96 | CH8 | WAIT | SMALL },
  { "Fir ",     BoardHazel,   BOARDTYPE_OEM2K,     0,  8,  16,   151,  0,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | A96 | CH6 },
  { "Hazel2 ",  BoardHazel2,  BOARDTYPE_OEM2K,     0,  8,  32,   170,  0,  2,  0,  0,  0,  0,  0,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | A96 | CH6 },
  { "Ilex ",    BoardIlex,    BOARDTYPE_OEM2K,     0,  2,  16,  2624,  2,  2,  1,  1,  1,  1,  1,  1, SlotLayout::Fixed,        NORM | AUD | AIN | A96 | CH6 | CH8 | UART },
  { "Dexel ",   BoardDexel,   BOARDTYPE_HULLEN,    0,  1,  32,   255,  1,  1,  0,  1,  1,  1,  0,  1, SlotLayout::Fixed,        AUD | CH6 },
  { "Kapok ",   BoardKapok,   BOARDTYPE_OEM2K,    32,  8,  32,   151,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | CH8 | FLASH | UART },
  { "Larch ",   BoardLarch,   BOARDTYPE_OEM2K,    32,  8,  32,   235,  1,  1,  1,  1,  1,  1,  1,  1, SlotLayout::Doubled,      IN3G | NORM | SLOT | AUD | AIN | A96 | CH8 | FLASH | UART | KEY | SMALL },
  { "Maple ",   BoardMaple,   BOARDTYPE_OEM2K,     0,  8,  16,   235,  1,  1,  1,  0,  1,  1,  0,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | AIN | A96 | CH8 | FLASH | UART | SMALL },
  { "Nutmeg ",  BoardNutmeg,  BOARDTYPE_OEM2K,    32,  8,  64,   255,  2,  2,  0,  0,  0,  0,  0,  2, SlotLayout::Doubled,      IN3G | NORM | SLOT | AUD | CH8 | FLASH | UART },
  { "Oak ",     BoardOak,     BOARDTYPE_OEM2K,    32,  8,  56,   255,  2,  2,  1,  0,  1,  0,  0,  2, SlotLayout::FourChannel,  IN3G | NORM | SLOT | AUD | AIN | A96 | CH8 | FLASH | UART | SMALL },
  { "Poplar ",  BoardPoplar,  BOARDTYPE_OEM2K,    32,  8,  32,   251,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Doubled,      IN3G | NORM | SLOT | AUD | CH8 | FLASH | UART },
  { "Quince ",  BoardQuince,  BOARDTYPE_OEM2K,    32,  8,  64,   309,  4,  4,  1,  0,  1,  0,  0,  4, SlotLayout::FourChannel,  QUAD | IN3G | NORM | SLOT | AUD | AIN | A96 | CH8 | FLASH | UART | SMALL },
  { "Rowan ",   BoardRowan,   BOARDTYPE_SYNCBOX,   0,  1,  99,   255,  1,  1,  0,  0,  1,  1,  0,  1, SlotLayout::Fixed,        AUD | CH6 },
  { "Spruce ",  BoardSpruce,  BOARDTYPE_OEM2K,    32,  8,  16,   235,  1,  2,  1,  1,  0,  0,  0,  1, SlotLayout::Doubled,      NORM | SLOT | AUD | AIN | CH8 | FLASH | UART | SMALL },
  { "Fennick ", BoardFennick, BOARDTYPE_HULLEN,    0,  0,   0,   255,  1,  1,  0,  0,  0,  0,  0,  1, SlotLayout::Fixed,        AUD | CH6 },
  { "Wayxt ",   BoardWayxt,   BOARDTYPE_OEM2K,    32,  8,  24,   235,  2,  2,  1,  0,  1,  1,  0,  1, SlotLayout::Doubled,      IN3G | NORM | SLOT | AUD | AIN | A96 | CH6 | CH8 | FLASH | UART | SMALL },
};
}  // namespace board_table
// clang-format on

}  // namespace morvane
