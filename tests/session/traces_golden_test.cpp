// What the setters write on six boards, against the written traces.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "session/catalogue_table.h"
#include "session/session_fixture.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::OpenedBoard;

constexpr SessionFamily kFamilies[] = {
    SessionFamily::MixMode,      SessionFamily::SDIOutput,       SessionFamily::HDMIOutput,
    SessionFamily::AnalogOutput, SessionFamily::SecondFormatOut, SessionFamily::SecondFormatIn,
    SessionFamily::ConvertMode,  SessionFamily::VideoInput,      SessionFamily::TimecodeInput,
    SessionFamily::AudioInput,   SessionFamily::AudioLevel,      SessionFamily::Reference,
    SessionFamily::VideoLimit,   SessionFamily::RGBLevel,        SessionFamily::VideoSyncOutput};

class Tracer {
 public:
  explicit Tracer(uint32_t identity) : board_(identity), identity_(identity) {}

  std::vector<std::string> Run() {
    const std::string name = BoardName(identity_);
    lines_.push_back("board " + name.substr(0, name.size() - 1));
    const uint32_t formats = board_.session.GetNumVideoFormats();
    for (uint32_t i = 0; i < formats; ++i) Format(i, false);
    Format(0, true);
    for (const SessionFamily family : kFamilies) Items(family);
    uint32_t sd = 0;
    if (board_.session.FindItem(SessionFamily::VideoFormat, "720x486 @ 29.97i", &sd) && sd != 0) {
      Format(sd, true);
      Items(SessionFamily::AnalogOutput);
    }
    EXPECT_TRUE(board_.session.SetupForOutput(false, 0));
    Take("SetupForOutput");
    EXPECT_TRUE(board_.session.SetupForCapture());
    Take("SetupForCapture");
    EXPECT_TRUE(board_.session.SetupForIdle());
    Take("SetupForIdle");
    return lines_;
  }

 private:
  void Format(uint32_t index, bool reapply) {
    std::string text;
    board_.session.GetVideoFormatDesc(index, &text);
    EXPECT_TRUE(board_.session.SetVideoFormat(index, reapply));
    Take("SetVideoFormat " + text + (reapply ? " and reapply" : ""));
  }
  void Items(SessionFamily family) {
    for (uint32_t i = 0; i < board_.session.GetNumItems(family); ++i) {
      std::string text;
      board_.session.GetItemDesc(family, i, &text);
      EXPECT_TRUE(board_.session.SetItem(family, i));
      Take(std::string("Set") + FamilyOf(family).name + " " + text);
    }
  }
  // Not of the setter itself: a download of other logic writes all registers back, and looking for
  // the present logic in the flash writes its address and command.
  void Take(const std::string& head) {
    constexpr int kWrittenBack = 166;
    lines_.push_back(head);
    std::istringstream writes(board_.port.TakeWrites());
    std::string line;
    int skip = 0;
    while (std::getline(writes, line)) {
      if (skip > 0) {
        --skip;
        continue;
      }
      if (line.rfind("58 ", 0) == 0 || line.rfind("59 ", 0) == 0) continue;
      lines_.push_back("  " + line);
      if (line.rfind("10050 ", 0) == 0) skip = kWrittenBack;
    }
  }

  OpenedBoard board_;
  uint32_t identity_;
  std::vector<std::string> lines_;
};

TEST(SetterTraces, OfSixBoardsAreTheWrittenOnes) {
  std::vector<std::string> lines;
  for (const uint32_t identity :
       {BoardElm, BoardLarch, BoardCedar, BoardDogwood, BoardQuince, BoardEbony}) {
    const std::vector<std::string> board = Tracer(identity).Run();
    lines.insert(lines.end(), board.begin(), board.end());
  }
  std::ifstream file(test::DataPath("golden/session/setter_traces.txt"));
  ASSERT_TRUE(file.good());
  std::string wanted, board, setter;
  size_t number = 0;
  while (std::getline(file, wanted)) {
    if (wanted.rfind("board", 0) == 0) board = wanted;
    if (wanted.rfind("Set", 0) == 0) setter = wanted;
    ASSERT_LT(number, lines.size()) << "missing: " << wanted;
    ASSERT_EQ(lines[number], wanted) << "line " << number + 1 << ", " << board << ", " << setter;
    ++number;
  }
  EXPECT_EQ(number, lines.size());
}

}  // namespace
}  // namespace morvane
