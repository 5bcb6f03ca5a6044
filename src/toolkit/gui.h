#pragma once

#include <cstdint>
#include <string>

#include "toolkit/messages.h"
#include "toolkit/types.h"

// The toolkit's life, messages and the rest of the desktop. Functions return 0 or -2 unless told.
// Threads: main thread (the one that called NXInitGUI; elsewhere -2) except where said.
namespace morvane {

// --- Life: NXInitGUI, the root's CreateNXWindow, NXStartGUI, the message loop, NXStopGUI, the
// root's DestroyNXWindow, NXKillGUI
// --------------------------------------------------------------------

// Makes the top-level window, its top left at (x, y) of the screen (y downwards), not yet shown.
// `instance`, `reserved` and `option` are not looked at. `icon` is a file in the icon folder.
NxErr NXInitGUI(int x, int y, int w, int h, void* instance, const char* title, const char* icon,
                void* reserved, int option);
// Shows the window and begins dispatch.
NxErr NXStartGUI();
// Ends dispatch. Threads that wait in NXSendMessage come back with -2, and so do later sends.
NxErr NXStopGUI();
// Destroys what NXInitGUI made; windows that still stand are destroyed too.
NxErr NXKillGUI();
// One round of the platform's message loop: waits for something to happen and handles it. With
// `wait` false handles only what is there.
NxErr NXDispatchGUI(bool wait);
// Makes a NXDispatchGUI(true) that waits, or the next one, return. Threads: any.
void NXWakeGUI();
// Asks for a repaint of all, soon; repaints come at most every 33 ms. Threads: any.
void NXRePaint();

// --- The top-level window ----------------------------------------------------------------------

NxErr NXMinimizeGUI();
// `restore` 0: goes to full screen, and `*rect` receives the new size. Else goes to the size in
// `*rect`, at the place where it was.
NxErr NXMaximizeGUI(NxRECT* rect, uint8_t restore);
// Moves the window with the mouse: from where the pointer is at the start, by each NXMoveGUI.
NxErr NXStartMoveGUI();
NxErr NXMoveGUI();
NxErr NXStopMoveGUI();
// All mouse messages go to this window until NXReleaseMouse. A dialog that opens takes the mouse
// away: before it shows, the window is told that the button was released where it was last.
NxErr NXCaptureMouse(NXWindowNode* node);
NxErr NXReleaseMouse();
// The native window. Returns: null where there is none.
[[nodiscard]] void* NXGetHWND();
// Called on the main thread when the desktop asks the program to end (the window manager's close, a
// termination signal): it has to mean what the program's own close button means. Null: nothing.
// While a dialog is open the wish waits: the dialog is cancelled, and once the handler that showed
// it has returned the loop calls the routine.
using NXCloseRoutine = void (*)(void* context);
void NXSetCloseRoutine(NXCloseRoutine routine, void* context);

// --- Look --------------------------------------------------------------------------------------

[[nodiscard]] int NXGetDefaultSpacing();      // 8: pixels between controls
[[nodiscard]] int NXGetDefaultButtonYSize();  // 24: height of a standard control
// Colour `entry` (0 to 31) of the scheme. The application reads 16 (labels) and 17 (titles).
NxErr NXGetSchemeColor(int entry, NxFCOLOR* color);
// Draws text inside a RenderNXWindow: `rect` in the window's own coordinates. `style` is added up
// from 1 bold and 2 centred in height; `option` is not looked at; `point` (null: the left edge)
// moves the text within the rectangle.
NxErr NXPrintText(const char* text, const NxRECT* rect, const NxFCOLOR* color, int style,
                  int option, const NxFLOATPOINT* point);

// --- Messages ----------------------------------------------------------------------------------

// Queues a message; it is dropped if the window is gone when its turn comes. -2 when the window
// does not exist or the toolkit was stopped. Threads: any.
NxErr NXPostMessage(NXWindowNode* node, uint32_t message, int a, int b, void* c, void* d);
// Delivers a message on the main thread and waits until it was handled. Before NXStartGUI it waits
// for that. Returns: what the handler returned; -2 when the window does not exist or the toolkit
// was stopped. Threads: any.
NxErr NXSendMessage(NXWindowNode* node, uint32_t message, int a, int b, void* c, void* d);
// Delivers the messages that other threads wait for in NXSendMessage, and nothing else. Every loop
// in which the main thread waits for another thread calls it, or the two wait for each other.
void NXServiceSends();
// `key` (NXKey or a character) with `modifiers` reaches the window as NXMSG_KEYDOWN, whatever has
// the focus; the window that registered a key last gets it. While a text or a number is being
// edited it takes every key but Escape, and while a list is down or a dialog is open there are no
// hot keys. NXUnRegisterHotKey takes back the key with any modifiers; -2 if it was not registered.
// Threads: any.
NxErr NXRegisterHotKey(NXWindowNode* node, int key, int modifiers);
NxErr NXUnRegisterHotKey(NXWindowNode* node, int key);

// --- Dialogs, modal ----------------------------------------------------------------------------
// While one is open nobody is told that the program gained or lost the focus. Once the handler that
// showed it has returned the loop tells what holds by then, if that has changed.

// Shows a message box. On the main thread it returns when the user has closed it; on another one at
// once, and the box comes soon; so, too, while a wish to close waits. Threads: any.
NxErr NXShowMB(const char* title, const char* text);
// Lets the user choose an existing file. `filterName` ("All Acceptable Files") and `patterns`
// ("*.lut *.txt") limit what is shown, `folder` is where it starts (empty: the last one).
// Returns: 0 with the path; -2 cancelled, and `*path` is as it was.
NxErr NXChooseFile(const char* title, const char* filterName, const char* patterns,
                   const std::string& folder, std::string* path);
// The same for a folder.
NxErr NXChooseFolder(const char* title, const std::string& folder, std::string* path);

}  // namespace morvane
