#include <cmath>

#include "hands.h"
#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/headless/headless_toolkit.h"

namespace morvane::test {
namespace {

class HeadlessHands final : public Hands {
 public:
  bool Click(NXWindow& control) override { return toolkit_.Click(control); }
  bool Type(NXWindow& control, const std::string& text) override {
    return toolkit_.Type(control, text);
  }
  bool BeginTyping(NXWindow& control, const std::string& text) override {
    typed_ = text;
    return toolkit_.BeginTyping(control);
  }
  bool EndTyping(NXWindow& control, bool enter) override {
    return enter ? toolkit_.EnterTyping(control, typed_) : toolkit_.EscapeTyping(control);
  }
  bool Select(NXWindow& list, int index) override { return toolkit_.Select(list, index); }
  bool Slide(NXWindow& slider, toolkit::SliderPhase phase, int position) override {
    return toolkit_.Slide(slider, phase, position);
  }
  bool Focus(NXWindow& control) override { return toolkit_.Focus(control); }
  void Blur() override { toolkit_.Blur(); }
  void Key(int key) override { toolkit_.Key(key); }
  bool Mouse(NXWindow& window, uint32_t message, int x, int y) override {
    return toolkit_.Mouse(window, message, x, y);
  }
  bool Mouse(NXVideoWindowNode* video, uint32_t message, int x, int y) override {
    return toolkit_.Mouse(video, message, x, y);
  }
  bool Wheel(int delta, int modifier) override { return toolkit_.Wheel(delta, modifier); }
  bool Expose(NXVideoWindowNode* video) override { return toolkit_.Expose(video); }
  void Activate(bool active) override { toolkit_.Activate(active); }
  void OnNextBox(void (*meanwhile)(void* context), void* context) override {
    toolkit_.WhileBoxIsOpen([=] { meanwhile(context); });
  }
  void Settle() override { NXDispatchGUI(false); }

  bool IsShown(NXWindow& control) override {
    for (NXWindow* window = &control; window != nullptr; window = window->GetNXParent()) {
      if (!toolkit_.Shown(*window).visible) return false;
    }
    return true;
  }
  bool IsEnabled(NXWindow& control) override {
    for (NXWindow* window = &control; window != nullptr; window = window->GetNXParent()) {
      if (!toolkit_.Shown(*window).enabled) return false;
    }
    return true;
  }
  std::string Text(NXWindow& control) override {
    const toolkit::WindowState state = toolkit_.Shown(control);
    return state.nxClass == NXClass::Number ? state.valueText : state.text;
  }
  int Checked(NXWindow& control) override { return toolkit_.Shown(control).check != 0 ? 1 : 0; }
  int Selected(NXWindow& list) override { return toolkit_.Shown(list).selection; }
  int Items(NXWindow& list) override { return static_cast<int>(toolkit_.Shown(list).items.size()); }
  int Position(NXWindow& slider) override { return toolkit_.Shown(slider).value; }
  NxRECT Place(NXWindow& control) override { return toolkit_.Shown(control).absolute; }
  uint32_t Pixel(NXVideoWindowNode* video, int x, int y) override {
    toolkit::VideoState state;
    if (!toolkit::GetVideoState(toolkit::IdOf(video), &state)) return 0;
    const HeadlessToolkit::Video look = toolkit_.Look(video);
    if (look.black) return 0;
    const toolkit::FramePicture& picture = look.last;
    const toolkit::FramePlace place = toolkit::PlacePicture(picture, state.rect.w, state.rect.h);
    const double across = (x + 0.5 - place.x) / place.w;
    const double down = 1 - (y + 0.5 - place.y) / place.h;
    if (across < 0 || across >= 1 || down < 0 || down >= 1) return 0;
    const auto column = static_cast<size_t>(across * picture.width);
    const auto row = static_cast<size_t>(down * picture.height);
    const uint8_t* bgra =
        picture.pixels.data() + row * static_cast<size_t>(picture.rowBytes) + column * 4;
    return static_cast<uint32_t>(bgra[2]) << 16 | static_cast<uint32_t>(bgra[1]) << 8 | bgra[0];
  }

 private:
  HeadlessToolkit toolkit_;
  std::string typed_;
};

}  // namespace

std::unique_ptr<Hands> MakeHands() {
  return std::make_unique<HeadlessHands>();
}

}  // namespace morvane::test
