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
inline constexpr uint32_t SD = BOARDTYPE_SDCARD, HD = BOARDTYPE_HDCARD, OEM = BOARDTYPE_OEM2K,
    BOX = BOARDTYPE_SYNCBOX, HUL = BOARDTYPE_HULLEN;
inline constexpr SlotLayout FIX = SlotLayout::Fixed, OLD = SlotLayout::Older,
    DBL = SlotLayout::Doubled, QUA = SlotLayout::FourChannel;

inline constexpr BoardRow kBoards[] = {
  // name      identity      type MiB slot frames     vid   anlg  hdmi  conv layout
  //                                         regs  in out out in out in  audio     capabilities
  { "Aspen ",   BoardAspen,   HD,  32, 8,  8,   63,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Basil ",   BoardBasil,   SD,   8, 2, 64,   63,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Cassia ",  BoardCassia,  HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Cassia2 ", BoardCassia2, HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Damson ",  BoardDamson,  SD,   8, 2, 64,   63,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Ebony ",   BoardEbony,   HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Ebony2 ",  BoardEbony2,  HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Fennel ",  BoardFennel,  SD,   8, 2, 64,   63,  2, 2,  0, 0,  0, 0,  0, 1, FIX, UART },
  { "Gorse ",   BoardGorse,   SD,   8, 2, 64,   63,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Heath ",   BoardHeath,   HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Heath2 ",  BoardHeath2,  HD,  32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|UART },
  { "Iris ",    BoardIris,    HD,  32, 8, 32,   80,  2, 2,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|CH8|UART },
  { "Jasmine ", BoardJasmine, SD,   8, 2, 64,   63,  2, 2,  0, 0,  0, 0,  0, 1, FIX, UART },
  { "Kale ",    BoardKale,    HD,  32, 8, 32,   80,  2, 2,  0, 0,  0, 0,  0, 1, FIX, UART },
  { "Laurel ",  BoardLaurel,  HD,  32, 8, 32,   80,  2, 2,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6|CH8|UART },
  { "Kale2 ",   BoardKale2,   HD,  32, 8, 32,   80,  2, 2,  0, 0,  0, 0,  0, 1, FIX, UART },
  { "Alder ",   BoardAlder,   OEM, 32, 8, 16,  237,  2, 2,  1, 0,  0, 0,  1, 1, FIX, NORM|AUD|CH6|CH8|UART|SMALL },
  { "Birch ",   BoardBirch,   OEM, 32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, OLD, SLOT|AUD|CH6|UART },
  { "Birch2 ",  BoardBirch2,  OEM, 32, 8, 32,   80,  1, 1,  0, 0,  0, 0,  0, 1, OLD, SLOT|AUD|CH6|UART },
  { "Cedar ",   BoardCedar,   OEM,  8, 2, 32,  151,  1, 2,  1, 1,  0, 0,  0, 1, FIX, AUD|AIN|CH2|CH6|CH8|WAIT|UART },
  { "Dogwood ", BoardDogwood, OEM, 32, 8, 16,  151,  1, 2,  1, 1,  0, 0,  0, 1, OLD, SLOT|AUD|AIN|CH2|CH6|CH8|WAIT|UART|SMALL },
  { "Elm ",     BoardElm,     OEM, 32, 8, 32,  237,  2, 2,  1, 0,  0, 0,  1, 1, DBL, NORM|SLOT|AUD|A96|CH8|UART|KEY|SMALL },
  { "Fir ",     BoardFir,     OEM, 32, 8, 32,  151,  2, 2,  1, 1,  0, 0,  0, 1, FIX, AUD|AIN|CH8|UART },
  { "Ginkgo ",  BoardGinkgo,  HUL,  0, 0,  0,  255,  2, 1,  1, 1,  0, 0,  0, 1, FIX, NORM|AUD|AIN|A96|CH8|WAIT|SMALL },
  { "Fir ",     BoardHazel,   OEM,  0, 8, 16,  151,  0, 2,  0, 0,  0, 0,  0, 1, DBL, NORM|SLOT|AUD|A96|CH6 },
  { "Hazel2 ",  BoardHazel2,  OEM,  0, 8, 32,  170,  0, 2,  0, 0,  0, 0,  0, 1, DBL, NORM|SLOT|AUD|A96|CH6 },
  { "Ilex ",    BoardIlex,    OEM,  0, 2, 16, 2624,  2, 2,  1, 1,  1, 1,  1, 1, FIX, NORM|AUD|AIN|A96|CH6|CH8|UART },
  { "Dexel ",   BoardDexel,   HUL,  0, 1, 32,  255,  1, 1,  0, 1,  1, 1,  0, 1, FIX, AUD|CH6 },
  { "Kapok ",   BoardKapok,   OEM, 32, 8, 32,  151,  1, 1,  0, 0,  0, 0,  0, 1, DBL, NORM|SLOT|AUD|CH8|FLASH|UART },
  { "Larch ",   BoardLarch,   OEM, 32, 8, 32,  235,  1, 1,  1, 1,  1, 1,  1, 1, DBL, IN3G|NORM|SLOT|AUD|AIN|A96|CH8|FLASH|UART|KEY|SMALL },
  { "Maple ",   BoardMaple,   OEM,  0, 8, 16,  235,  1, 1,  1, 0,  1, 1,  0, 1, DBL, NORM|SLOT|AUD|AIN|A96|CH8|FLASH|UART|SMALL },
  { "Nutmeg ",  BoardNutmeg,  OEM, 32, 8, 64,  255,  2, 2,  0, 0,  0, 0,  0, 2, DBL, IN3G|NORM|SLOT|AUD|CH8|FLASH|UART },
  { "Oak ",     BoardOak,     OEM, 32, 8, 56,  255,  2, 2,  1, 0,  1, 0,  0, 2, QUA, IN3G|NORM|SLOT|AUD|AIN|A96|CH8|FLASH|UART|SMALL },
  { "Poplar ",  BoardPoplar,  OEM, 32, 8, 32,  251,  1, 1,  0, 0,  0, 0,  0, 1, DBL, IN3G|NORM|SLOT|AUD|CH8|FLASH|UART },
  { "Quince ",  BoardQuince,  OEM, 32, 8, 64,  309,  4, 4,  1, 0,  1, 0,  0, 4, QUA, QUAD|IN3G|NORM|SLOT|AUD|AIN|A96|CH8|FLASH|UART|SMALL },
  { "Rowan ",   BoardRowan,   BOX,  0, 1, 99,  255,  1, 1,  0, 0,  1, 1,  0, 1, FIX, AUD|CH6 },
  { "Spruce ",  BoardSpruce,  OEM, 32, 8, 16,  235,  1, 2,  1, 1,  0, 0,  0, 1, DBL, NORM|SLOT|AUD|AIN|CH8|FLASH|UART|SMALL },
  { "Fennick ", BoardFennick, HUL,  0, 0,  0,  255,  1, 1,  0, 0,  0, 0,  0, 1, FIX, AUD|CH6 },
  { "Wayxt ",   BoardWayxt,   OEM, 32, 8, 24,  235,  2, 2,  1, 0,  1, 1,  0, 1, DBL, IN3G|NORM|SLOT|AUD|AIN|A96|CH6|CH8|FLASH|UART|SMALL },
};
}  // namespace board_table
// clang-format on

}  // namespace morvane
