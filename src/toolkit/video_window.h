#pragma once

#include <cstdint>

#include "toolkit/types.h"

// Video windows: rectangles that show frames. They are made, placed, shown and destroyed on the
// main thread; the four functions that draw work on any thread.
// Functions return 0 or -2 (no such window, or a refused argument) unless told.
namespace morvane {

// "OpenGL DrawPixels" and "OpenGL Texture".
enum NXDisplayType : uint32_t { NXDISPLAY_DRAWPIXELS = 0, NXDISPLAY_TEXTURE = 1 };

// Makes a black video window, hidden, in the window `parent`, with `rect` in that one's
// coordinates. It goes with its parent. `option` is not looked at. Returns: null on failure.
[[nodiscard]] NXVideoWindowNode* NXCreateVideoWindow(NXWindowNode* parent, const char* name,
                                                     const NxRECT* rect, int option);
// Waits for a frame that is just being displayed. A run must have been stopped by its thread.
NxErr NXDestroyVideoWindow(NXVideoWindowNode* node);
NxErr NXResizeVideoWindow(NXVideoWindowNode* node, const NxRECT* rect);
NxErr NXShowVideoWindow(NXVideoWindowNode* node, int show);
// Whether it was last shown (1) or hidden (0) by NXShowVideoWindow, and nothing else: a minimised
// or covered window counts as visible, so that a job's preview goes on. Threads: any.
[[nodiscard]] uint8_t NXIsVideoWindowVisible(NXVideoWindowNode* node);
// Clears to black, at once. Threads: any.
NxErr NXBlackenVideoWindow(NXVideoWindowNode* node);

// Begins a run of frames of this size (pixels). One run at a time: -2 while another thread has one;
// on the same thread a run that is open is ended first. `lut` null: none; the record and its curves
// stay the caller's and must stand during the run. Threads: any.
NxErr NXStartDisplayVideoFrame(NXVideoWindowNode* node, uint32_t width, uint32_t height,
                               uint32_t displayType, const NxRGBLUT* lut);
// Converts and draws one frame, at once, and waits for nothing else (not for the screen, not for
// the main thread). A frame whose size is not that of the run is shown too. `lut` null: the run's.
// Keeps: nothing. -2 for a frame without a picture, of an unknown format or with rows too short.
// Threads: the one that started the run; -2 elsewhere.
NxErr NXDisplayVideoFrame(NXVideoWindowNode* node, const NXVideoFrame* frame, const NxRGBLUT* lut);
// Ends the run; the last frame stays. Threads: the one that started it.
NxErr NXStopDisplayVideoFrame(NXVideoWindowNode* node);

// All mouse messages go to this video window until NXVReleaseMouse.
NxErr NXVCaptureMouse(NXVideoWindowNode* node);
NxErr NXVReleaseMouse();
// Whether files may be dropped on the video window.
NxErr NXRegDropFilesVideoWindow(NXVideoWindowNode* node);
NxErr NXUnRegDropFilesVideoWindow(NXVideoWindowNode* node);

}  // namespace morvane
