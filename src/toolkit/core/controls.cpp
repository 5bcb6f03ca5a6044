#include "toolkit/controls.h"

#include <algorithm>

#include "processing/timecode.h"
#include "toolkit/core/node.h"
#include "toolkit/core/text_input.h"

namespace morvane {
namespace {

using toolkit::ChangeWindow;
using toolkit::ReadWindow;
using toolkit::WindowState;

// Sets one member of the state.
template <typename Member, typename Value>
NxErr Set(NXWindowNode& node, uint32_t changes, Member WindowState::*member, Value value) {
  return ChangeWindow(node, changes, [=](WindowState& state) {
    state.*member = static_cast<Member>(value);
    return NxErrSuccess;
  });
}

int Check(const NXWindowNode& node) {
  return ReadWindow(node, 0, [](const WindowState& state) { return state.check; });
}

NxErr InsertItem(NXWindowNode& node, int position, const char* text) {
  if (text == nullptr) return NxErrFailure;
  const uint32_t changes = toolkit::ChangeItems | toolkit::ChangeSelection;
  return ChangeWindow(node, changes, [=](WindowState& state) {
    const auto count = static_cast<int>(state.items.size());
    const int at = position == -1 ? count : position;
    if (at < 0 || at > count) return NxErrFailure;
    state.items.insert(state.items.begin() + at, text);
    if (state.selection >= at) ++state.selection;
    return NxErrSuccess;
  });
}

NxErr ItemText(const NXWindowNode& node, int index, char* text, int size) {
  if (text == nullptr || size < 1) return NxErrFailure;
  *text = '\0';
  return ReadWindow(node, NxErrFailure, [=](const WindowState& state) {
    if (index < 0 || index >= static_cast<int>(state.items.size())) return NxErrFailure;
    toolkit::CopyText(state.items[static_cast<size_t>(index)], text, size);
    return NxErrSuccess;
  });
}

NxErr Select(NXWindowNode& node, int index) {
  return ChangeWindow(node, toolkit::ChangeSelection, [index](WindowState& state) {
    if (index < -1 || index >= static_cast<int>(state.items.size())) return NxErrFailure;
    state.selection = index;
    return NxErrSuccess;
  });
}

int Selection(const NXWindowNode& node) {
  return ReadWindow(node, -1, [](const WindowState& state) { return state.selection; });
}

NxErr ResetItems(NXWindowNode& node) {
  const uint32_t changes = toolkit::ChangeItems | toolkit::ChangeSelection;
  return ChangeWindow(node, changes, [](WindowState& state) {
    state.items.clear();
    state.selection = -1;
    return NxErrSuccess;
  });
}

void PutValue(WindowState& state, int value) {
  state.value = std::clamp(value, state.low, state.high);
  state.valueText = toolkit::NumberText(state);
}

}  // namespace

NxErr NXButton::ButtonNXType(uint32_t type) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::buttonType, type);
}

NxErr NXButton::SetNXCheck(int check) {
  return Set(*OwnNode(), toolkit::ChangeCheck, &WindowState::check, check);
}

int NXButton::GetNXCheck() {
  return Check(*OwnNode());
}

NxErr NXCheckBox::ButtonNXType(uint32_t type) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::buttonType, type);
}

NxErr NXCheckBox::SetNXCheck(int check) {
  return Set(*OwnNode(), toolkit::ChangeCheck, &WindowState::check, check);
}

int NXCheckBox::GetNXCheck() {
  return Check(*OwnNode());
}

NxErr NXPictureButton::ButtonNXPictureType(uint32_t picture) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::picture, picture);
}

NxErr NXPictureButton::ButtonNXType(uint32_t type) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::buttonType, type);
}

NxErr NXPictureButton::ResetNXActionState(bool /*repaint*/) {
  return ChangeWindow(*OwnNode(), toolkit::ChangePressed,
                      [](WindowState&) { return NxErrSuccess; });
}

NxErr NXPictureButton::SetNXCheck(int check) {
  return Set(*OwnNode(), toolkit::ChangeCheck, &WindowState::check, check);
}

int NXPictureButton::GetNXCheck() {
  return Check(*OwnNode());
}

NxErr NXPictureButton::SetNXBkType(int type) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::backgroundType, type);
}

int NXPictureButton::GetNXBkType() {
  return ReadWindow(*OwnNode(), 0, [](const WindowState& state) { return state.backgroundType; });
}

NxErr NXTabButton::SetNXTabCheck(int check) {
  return Set(*OwnNode(), toolkit::ChangeCheck, &WindowState::check, check);
}

int NXTabButton::GetNXTabCheck() {
  return Check(*OwnNode());
}

NxErr NXMiniTabButton::SetNXTabCheck(int check) {
  return Set(*OwnNode(), toolkit::ChangeCheck, &WindowState::check, check);
}

int NXMiniTabButton::GetNXTabCheck() {
  return Check(*OwnNode());
}

NxErr NXComboButton::InsertNXItem(int position, const char* text, bool /*repaint*/) {
  return InsertItem(*OwnNode(), position, text);
}

NxErr NXComboButton::GetNXItemText(int index, char* text, int size) {
  return ItemText(*OwnNode(), index, text, size);
}

NxErr NXComboButton::SetNXCurSel(int index, bool /*repaint*/) {
  return Select(*OwnNode(), index);
}

int NXComboButton::GetNXCurSel() {
  return Selection(*OwnNode());
}

NxErr NXComboButton::ResetNXAll(bool /*repaint*/) {
  return ResetItems(*OwnNode());
}

NxErr NXComboButton::SetNXComboType(int type) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::comboType, type);
}

NxErr NXHotTextList::InsertNXItem(int position, const char* text, bool /*repaint*/) {
  return InsertItem(*OwnNode(), position, text);
}

NxErr NXHotTextList::GetNXItemText(int index, char* text, int size) {
  return ItemText(*OwnNode(), index, text, size);
}

NxErr NXHotTextList::SetNXCurSel(int index, bool /*repaint*/) {
  return Select(*OwnNode(), index);
}

int NXHotTextList::GetNXCurSel() {
  return Selection(*OwnNode());
}

NxErr NXHotTextList::ResetNXAll(bool /*repaint*/) {
  return ResetItems(*OwnNode());
}

NxErr NXNumber::SetNXNumberRange(int low, int high, bool /*repaint*/) {
  if (low > high) return NxErrFailure;
  const uint32_t changes = toolkit::ChangeRange | toolkit::ChangeValue;
  return ChangeWindow(*OwnNode(), changes, [=](WindowState& state) {
    state.low = low;
    state.high = high;
    PutValue(state, state.value);
    return NxErrSuccess;
  });
}

int NXNumber::GetNXNumberPos() {
  return ReadWindow(*OwnNode(), 0, [](const WindowState& state) { return state.value; });
}

NxErr NXNumber::PutNXNumberPos(int value, bool /*repaint*/) {
  return ChangeWindow(*OwnNode(), toolkit::ChangeValue, [value](WindowState& state) {
    PutValue(state, value);
    return NxErrSuccess;
  });
}

NxErr NXNumber::GetNXNumberTC(char* text) {
  if (text == nullptr) return NxErrFailure;
  *text = '\0';
  return ReadWindow(*OwnNode(), NxErrFailure, [text](const WindowState& state) {
    toolkit::CopyText(state.valueText, text, kTimecodeTextBytes);
    return NxErrSuccess;
  });
}

NxErr NXNumber::PutNXNumberTC(const char* text, bool /*repaint*/) {
  if (text == nullptr) return NxErrFailure;
  return ChangeWindow(*OwnNode(), toolkit::ChangeValue, [text](WindowState& state) {
    int32_t value = 0;
    if (!toolkit::ReadNumberText(state, text, &value)) return NxErrFailure;
    PutValue(state, value);
    return NxErrSuccess;
  });
}

int NXNumber::GetNXNumberType() {
  return ReadWindow(*OwnNode(), 0, [](const WindowState& state) { return state.numberType; });
}

NxErr NXNumber::PutNXNumberType(int type, int timeScale, int timeRate, int dropFrame) {
  if (type == 2 && !toolkit::IsTimecodeRate(timeScale, timeRate)) return NxErrFailure;
  const uint32_t changes = toolkit::ChangeRange | toolkit::ChangeValue;
  return ChangeWindow(*OwnNode(), changes, [=](WindowState& state) {
    state.numberType = type;
    state.timeScale = timeScale;
    state.timeRate = timeRate;
    state.dropFrame = dropFrame;
    PutValue(state, state.value);
    return NxErrSuccess;
  });
}

NxErr NXNumber::SetNXScrollable(bool scrollable) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::scrollable, scrollable);
}

bool NXNumber::GetNXScrollable() {
  return ReadWindow(*OwnNode(), false, [](const WindowState& state) { return state.scrollable; });
}

int NXSlider::GetNXSliderType() {
  return ReadWindow(*OwnNode(), 0, [](const WindowState& state) { return state.sliderType; });
}

NxErr NXSlider::SetNXSliderType(int type, bool /*repaint*/) {
  return Set(*OwnNode(), toolkit::ChangeLook, &WindowState::sliderType, type);
}

NxErr NXSlider::SetNXSliderRange(int low, int high, bool /*repaint*/) {
  if (low > high) return NxErrFailure;
  const uint32_t changes = toolkit::ChangeRange | toolkit::ChangeValue;
  return ChangeWindow(*OwnNode(), changes, [=](WindowState& state) {
    state.low = low;
    state.high = high;
    state.subLow = std::clamp(state.subLow, low, high);
    state.subHigh = std::clamp(state.subHigh, low, high);
    PutValue(state, state.value);
    return NxErrSuccess;
  });
}

NxErr NXSlider::SetNXSliderSubRange(int low, int high, bool /*repaint*/) {
  if (low > high) return NxErrFailure;
  return ChangeWindow(*OwnNode(), toolkit::ChangeRange, [=](WindowState& state) {
    state.subLow = std::clamp(low, state.low, state.high);
    state.subHigh = std::clamp(high, state.low, state.high);
    return NxErrSuccess;
  });
}

int NXSlider::GetNXSliderPos() {
  return ReadWindow(*OwnNode(), 0, [](const WindowState& state) { return state.value; });
}

NxErr NXSlider::PutNXSliderPos(int position, bool /*repaint*/) {
  return ChangeWindow(*OwnNode(), toolkit::ChangeValue, [position](WindowState& state) {
    PutValue(state, position);
    return NxErrSuccess;
  });
}

NxErr NXText::SetNXTextInputType(bool letters, bool digits, bool others) {
  return ChangeWindow(*OwnNode(), toolkit::ChangeLook, [=](WindowState& state) {
    state.letters = letters;
    state.digits = digits;
    state.others = others;
    return NxErrSuccess;
  });
}

NxErr NXText::SetNXTextInputMax(int characters) {
  if (characters < 0) return NxErrFailure;
  const uint32_t changes = toolkit::ChangeLook | toolkit::ChangeText;
  return ChangeWindow(*OwnNode(), changes, [characters](WindowState& state) {
    state.maxCharacters = characters;
    state.text = toolkit::CutCharacters(state.text, characters);
    return NxErrSuccess;
  });
}

}  // namespace morvane
