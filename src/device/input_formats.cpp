#include "device/formats.h"

namespace morvane {
namespace {

// A class 8 input is 2048 pixels wide.
constexpr uint32_t kClass2048 = 8;

RQD5VideoFormat Input1080(uint32_t rate, bool level3G, uint32_t geometryClass, bool segmented) {
  const bool dualStream = level3G && segmented;
  const bool wide = geometryClass == kClass2048;
  switch (rate) {
    case FrameRate3000:
      return dualStream ? 20 : segmented ? 30 : 3;
    case FrameRate2997:
      return dualStream ? 19 : segmented ? 29 : 2;
    case FrameRate2500:
      return dualStream ? 18 : wide ? 27 : segmented ? 28 : 1;
    case FrameRate2400:
      return wide ? 16 : 7;
    case FrameRate2398:
      return wide ? 15 : 6;
    default:
      return 0;
  }
}

RQD5VideoFormat Input1080p(uint32_t rate, uint32_t geometryClass) {
  const bool wide = geometryClass == kClass2048;
  switch (rate) {
    case FrameRate6000:
      return 25;
    case FrameRate5994:
      return 24;
    case FrameRate3000:
      return 9;
    case FrameRate2997:
      return 8;
    case FrameRate2500:
      return wide ? 26 : 10;
    case FrameRate2400:
      return wide ? 14 : 12;
    case FrameRate2398:
      return wide ? 13 : 11;
    case FrameRate5000:
      return 23;
    default:
      return 0;
  }
}

// Deliberate: 25 frames (22, "720p 25.00") is not detected.
RQD5VideoFormat Input720(uint32_t rate) {
  switch (rate) {
    case FrameRate6000:
      return 5;
    case FrameRate5994:
      return 4;
    case FrameRate2398:
      return 21;
    case FrameRate5000:
      return 17;
    default:
      return 0;
  }
}

RQD5VideoFormat Input525(uint32_t rate, bool segmented) {
  switch (rate) {
    case FrameRate2997:
      return segmented ? 36 : 32;
    case FrameRate2400:
      return 35;
    case FrameRate2398:
      return 34;
    default:
      return 0;
  }
}

RQD5VideoFormat Input2K(uint32_t rate) {
  switch (rate) {
    case FrameRate2500:
      return 68;
    case FrameRate2400:
      return 67;
    case FrameRate2398:
      return 66;
    case FrameRate1500:
      return 65;
    case FrameRate1498:
      return 64;
    default:
      return 0;
  }
}

}  // namespace

uint32_t StandardOfGeometryClass(uint32_t geometryClass, bool progressive) {
  switch (geometryClass) {
    case 1:
      return Standard525;
    case 2:
      return Standard625;
    case 3:
      return Standard720;
    case 4:
    case kClass2048:
      return progressive ? Standard1080p : Standard1080;
    case 9:
      return Standard2K;
    default:
      return StandardUnknown;
  }
}

RQD5VideoFormat InputFormat(uint32_t rate, uint32_t standard, bool level3G, uint32_t geometryClass,
                            bool segmented) {
  switch (standard) {
    case Standard1080:
      return Input1080(rate, level3G, geometryClass, segmented);
    case Standard720:
      return Input720(rate);
    case Standard525:
      return Input525(rate, segmented);
    case Standard625:
      return rate != FrameRate2500 ? 0 : segmented ? 37 : 33;
    case Standard1080p:
      return Input1080p(rate, geometryClass);
    case Standard2K:
      return Input2K(rate);
    default:
      return 0;
  }
}

}  // namespace morvane
