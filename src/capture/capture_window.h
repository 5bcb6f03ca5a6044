#pragma once

#include <array>
#include <string>

#include "base/page_memory.h"
#include "base/shared_word.h"
#include "capture/logo.h"
#include "toolkit/controls.h"
#include "toolkit/video_sink.h"
#include "toolkit/window_thread.h"

namespace morvane {

class CaptureEngine;

// The capture tab: the picture of the input, what the board and a job do. It is activated while it
// has taken the engine of the current board and runs its two threads: the status thread, which
// keeps the texts and sees the end of a job, and the preview thread. When one of them does not end
// and has to be abandoned, the window is never activated again and must not be destroyed: the
// process ends without (NxAnyThreadAbandoned).
// Threads: main thread.
// Keeps: a pointer to the engine, from Activate() to Deactivate().
class MorvaneCaptureWnd final : public NXWindow {
 public:
  MorvaneCaptureWnd();
  ~MorvaneCaptureWnd() override;

  // Once, before the first activation: reads the logo below the module's folder.
  void Prepare(const std::string& moduleFolder);

  // --- What the main window asks
  // ------------------------------------------------------------------
  [[nodiscard]] bool IsActivated() const { return activated_; }
  // A capture is queued or running with the window activated.
  [[nodiscard]] bool IsBusy() const;
  // Takes the engine (may be null). With `held` the card is ours: the engine is activated and the
  // threads run; without it the texts are filled and the window stays as it was.
  // Returns: -2 when activated already, after the loss of a thread, or when it did not come to
  // that.
  NxErr Activate(CaptureEngine* engine, bool held);
  // Ends a job and the threads and gives the engine back. `hide`, or a thread that did not end: the
  // video window is hidden, else it shows the logo. Returns: -2 when not activated.
  NxErr Deactivate(bool hide);
  void Shutdown();  // also frees logo and video window, unless a thread was lost
  void HideVideoWindow();
  // The choices of the main window's list: none so far.
  [[nodiscard]] int GetNumOutputOptions() const { return 0; }
  NxErr SetOutputOption(int index);

  // What a control does to the engine happens between these two.
  void PauseThreads();
  void ResumeThreads();
  // A live picture is on the screen.
  [[nodiscard]] bool ShowsInput() const { return showsInput_.Get() != 0; }

  NxErr RenderNXWindow() override;
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override;
  NxErr OnNXCreate() override;
  NxErr OnNXResize() override;
  NxErr OnNXDestroy() override;

 private:
  // A text of the status block and what is drawn above it.
  struct StatusLine {
    NXStatic* text;
    const char* member;
    const char* label;
    const char* idle;  // what it says without an engine
  };
  static constexpr int kStatusLines = 6;
  [[nodiscard]] std::array<StatusLine, kStatusLines> StatusLines();

  [[nodiscard]] NxRECT VideoRect() const;
  [[nodiscard]] NxRECT StatusRect(int line) const;
  void ShowIdlePicture();  // black, and the logo
  void ShowDevice(const char* activity);
  void ShowIdleTexts();
  void CaptureEnded();

  static void RunStatus(void* self);
  static void RunPreview(void* self);
  void StatusLoop();
  bool StatusRound(bool afresh);
  void PreviewLoop();
  void PreviewBegin();
  void PreviewIdleRound();

  // Main thread.
  NXStatic activity_;
  NXStatic videoFormat_;
  NXStatic videoInput_;
  NXStatic captureStatus_;
  NXStatic framesCaptured_;
  NXStatic framesDropped_;
  NXVideoWindowNode* video_ = nullptr;
  bool activated_ = false;
  bool threadLost_ = false;  // one did not end: what it may touch is no longer ours
  WindowThread status_;
  WindowThread preview_;

  // Set before the threads start, and while they rest.
  CaptureEngine* engine_ = nullptr;
  Logo logo_;
  PageBuffer frame_;

  // The status thread's.
  std::string shownStatus_;
  std::string shownCaptured_;
  std::string shownDropped_;

  // The preview thread's; `showsInput_` is read by all.
  VideoWindowSink sink_;
  SharedWord<uint8_t> showsInput_;
  int64_t nextPictureNs_ = 0;
};

}  // namespace morvane
