#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "device/board_scan.h"
#include "session/card2.h"
#include "session/recording_port.h"

namespace morvane::test {

// A session on a board behind a recording port.
class OpenedBoard {
 public:
  explicit OpenedBoard(uint32_t identity, uint32_t mode = kSessionCaptureAndPlay)
      : port(identity), record(DescribeBoard(identity)) {
    record.boardType = FindBoard(identity)->boardType;
    record.displayName = std::string(BoardName(identity)) + " - 0";
    opened = session.OpenSession(0, record, mode);
    port.TakeWrites();
  }

  // Selects the video format item with this text, and forgets what was written for it.
  bool Format(const std::string& text, bool reapply = false) {
    uint32_t index = 0;
    if (!session.FindItem(SessionFamily::VideoFormat, text, &index)) return false;
    const bool good = session.SetVideoFormat(index, reapply);
    port.TakeWrites();
    return good;
  }
  bool Choose(SessionFamily family, const std::string& text) {
    uint32_t index = 0;
    return session.FindItem(family, text, &index) && session.SetItem(family, index);
  }
  std::string Current(SessionFamily family) {
    uint32_t index = 0;
    std::string text;
    session.GetItem(family, &index);
    session.GetItemDesc(family, index, &text);
    return text;
  }

  RecordingPort port;
  RQD5BoardInfo record;
  CRQD5Card2 session;
  bool opened = false;
};

}  // namespace morvane::test
