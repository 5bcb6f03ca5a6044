#pragma once

#include "toolkit/controls.h"
#include "toolkit/video_window.h"

namespace morvane {

class PlaybackEngine;

// The play tab: the video window of the playback, and what the board does. It is activated while it
// has taken the engine of the current board.
// Threads: main thread.
// Keeps: a pointer to the engine, from Activate() to Deactivate().
class MorvanePlaybackWnd final : public NXWindow {
 public:
  MorvanePlaybackWnd();
  ~MorvanePlaybackWnd() override;

  // --- What the main window asks
  // ------------------------------------------------------------------
  [[nodiscard]] bool IsActivated() const { return activated_; }
  [[nodiscard]] bool IsBusy() const;  // a playback runs with the window activated
  // Takes the engine (may be null). With `held` the card is ours and the engine is activated;
  // without it the texts are filled and the window stays as it was.
  // Returns: -2 when activated already, or when it did not come to that.
  NxErr Activate(PlaybackEngine* engine, bool held);
  // Ends a playback and gives the engine back. `hide`: the video window is hidden, else it is
  // black. Returns: -2 when not activated.
  NxErr Deactivate(bool hide);
  void Shutdown();  // also frees the video window
  void HideVideoWindow();
  // The choices of the main window's list: none. Index 0 would be "File Options", every other one
  // is "Unknown"; both with -2.
  [[nodiscard]] int GetNumOutputOptions() const { return 0; }
  [[nodiscard]] int GetOutputOption() const { return 0; }
  NxErr GetOutputOptionText(int index, char* text, int size) const;
  NxErr SetOutputOption(int index);

  NxErr RenderNXWindow() override;
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override;
  NxErr OnNXCreate() override;
  NxErr OnNXResize() override;
  NxErr OnNXDestroy() override;

 private:
  [[nodiscard]] NxRECT VideoRect() const;
  [[nodiscard]] NxRECT ActivityRect() const;

  NXStatic activity_;
  NXVideoWindowNode* video_ = nullptr;
  PlaybackEngine* engine_ = nullptr;
  bool activated_ = false;
};

}  // namespace morvane
