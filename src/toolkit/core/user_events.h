#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "toolkit/core/binding.h"

// What a binding tells the core. Each event checks that its window still exists and that it and all
// its parents are visible and enabled; it returns false, with nothing done, where they are not.
// Events change the node as the contract says and deliver the message to the application before
// they return; then the shadow is updated, so that what a user did and the application did not
// take is gone from the screen. The window may be gone when a call returns.
// Threads: main, except where said.
namespace morvane::toolkit {

// Does what threads have asked for: messages that wait, changed states, message boxes, a repaint.
// Called after ToolkitBinding::Wake().
void Service();

// --- Controls ----------------------------------------------------------------------------------

bool UserClicked(NodeId id);  // all that is clicked: buttons, tabs, check boxes, hot texts
// An item was chosen, also the one that is selected already.
bool UserSelected(NodeId id, int index);
// The end of an edit with a result (Enter, focus lost, a press elsewhere). The core filters and
// clamps it; the application is told if it differs from the value before.
bool UserTyped(NodeId id, std::string_view text);  // NXText, NXNumber as digits or timecode
bool UserNumber(NodeId id, int value);             // NXNumber by arrows or wheel

enum class SliderPhase { Pressed, Moved, Released };
bool UserSlider(NodeId id, SliderPhase phase, int position);

// The control took or lost the keyboard. Lost comes after UserTyped; it also ends the edit.
bool UserFocus(NodeId id, bool gained);
// Between the first key and the end of an edit of a text or number: until then the core does not
// update its text and value, and hot keys go to the control. A binding may begin it with the focus.
// (A slider needs no call: it is being edited from Pressed to Released.)
bool UserEditing(NodeId id, bool editing);
// What is left of `text` when typed into this window.
[[nodiscard]] std::string FilterTyped(const WindowState& state, std::string_view text);

// --- Mouse and keys ----------------------------------------------------------------------------

// `message` is NXMSG_LBUTTONDOWN, NXMSG_LBUTTONUP or NXMSG_MOUSEMOVE; the point is in the window
// `id` (a NXWindow or a video window), y upwards. The core sends it on to who has captured the
// mouse, else to the window itself (a video window: to its parent, as the message of a video).
bool UserMouse(NodeId id, uint32_t message, int x, int y);
bool UserWheel(int delta, int modifier);
// Whether a key would be a hot key now; `virtualKey` counts where `character` is -1.
[[nodiscard]] bool IsHotKey(int character, int virtualKey, int modifiers);
// A key: to the window that has it as a hot key, else to the plain window with the focus.
// Returns: true if somebody took it.
bool UserKey(int character, int virtualKey, int modifiers);

// --- The rest ----------------------------------------------------------------------------------

bool UserExposed(NodeId video);  // a video window was uncovered
void UserActive(bool active);    // the program gained or lost the focus; held back by dialogs
// The desktop asks to close. An open dialog is cancelled, and the loop asks when it is gone.
void UserClose();

// --- Looking -----------------------------------------------------------------------------------

// All windows, each before its children, children in the order of creation.
[[nodiscard]] std::vector<WindowState> AllWindows();
// Of these the plain windows (NXClass::Window) that are on the screen: what RenderWindow takes.
[[nodiscard]] std::vector<WindowState> PaintOrder();
[[nodiscard]] std::vector<VideoState> AllVideos();
// Calls RenderNXWindow of the window. The context is current, in the window's own coordinates.
NxErr RenderWindow(NodeId id);
// The node of a window; 0 for null or one that does not exist. Threads: any.
[[nodiscard]] NodeId IdOf(const NXWindowNode* node);
[[nodiscard]] NodeId IdOf(const NXVideoWindowNode* node);
[[nodiscard]] NXWindow* WindowOf(NodeId id);  // null: none
[[nodiscard]] NXVideoWindowNode* VideoOf(NodeId id);
// Returns: false if there is none.
bool GetWindowState(NodeId id, WindowState* state);
bool GetVideoState(NodeId id, VideoState* state);
[[nodiscard]] WindowShadow* ShadowOf(NodeId id);  // null: none
[[nodiscard]] VideoShadow* VideoShadowOf(NodeId id);

}  // namespace morvane::toolkit
