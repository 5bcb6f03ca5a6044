#pragma once

#include <functional>

#include "capture/capture_window.h"
#include "playback/playback_window.h"
#include "setup/setup_window.h"
#include "toolkit/controls.h"

namespace morvane {

struct ProcessObjects;

inline constexpr int kMainWindowWidth = 1030;
inline constexpr int kMainWindowHeight = 768;

// The one top-level window: three tabs, of which one is checked and one window shows; the caption
// buttons; who may have the board. It decides when a tab window takes its engine (activates) and
// gives it back. Whatever would interrupt a job is refused silently.
// Threads: main thread.
// Keeps: the process's objects.
class MorvaneWnd final : public NXWindow {
 public:
  explicit MorvaneWnd(ProcessObjects* objects);
  ~MorvaneWnd() override;

  NxErr RenderNXWindow() override;
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override;
  NxErr OnNXCreate() override;
  NxErr OnNXResize() override;

  // What a click on the close button does; the desktop may ask for the same.
  void RequestClose();

  // What a choice in the list of output options is given to, by the tab that is checked. Until this
  // is called, and where one is empty, the tab's window. For tests.
  using OptionSetter = std::function<NxErr(int index)>;
  void SetOptionSetters(OptionSetter playback, OptionSetter capture);

  // Neither a capture nor a playback runs.
  [[nodiscard]] bool IsFree() const { return !playback_.IsBusy() && !capture_.IsBusy(); }
  [[nodiscard]] MorvanePlaybackWnd& Playback() { return playback_; }
  [[nodiscard]] MorvaneCaptureWnd& Capture() { return capture_; }
  [[nodiscard]] MorvaneSetupWnd& Setup() { return setup_; }

 private:
  // Where everything lies in a window of the present size.
  struct Layout {
    NxRECT playTab, captureTab, setupTab;
    NxRECT minimize, maximize, close;
    NxRECT tabWindow;
    NxRECT outputOptions;
  };
  [[nodiscard]] Layout MakeLayout() const;

  void FillOutputOptions();
  void Clicked(const void* sender);
  void ShowPlayback();
  void ShowCapture();
  void ShowSetup();
  void Maximize();
  void SelectOutputOption(int index);
  void AppActivated(bool gained);
  void ForwardWheel(int a, int b, void* c, void* d);
  void DeactivateAll(bool hide);
  void RestoreCheckedTab();
  // A tab window that goes out of sight.
  void PutAwayPlayback();
  void PutAwayCapture();

  ProcessObjects* const objects_;
  NXTabButton playTab_;
  NXTabButton captureTab_;
  NXTabButton setupTab_;
  NXComboButton outputOptions_;
  NXPictureButton minimizeButton_;
  NXPictureButton maximizeButton_;
  NXPictureButton closeButton_;
  OptionSetter setPlaybackOption_;
  OptionSetter setCaptureOption_;
  bool moving_ = false;  // the user drags the window by its background
  MorvanePlaybackWnd playback_;
  MorvaneCaptureWnd capture_;
  MorvaneSetupWnd setup_;
  bool quitting_ = false;  // close was accepted: the focus does not matter any more
};

}  // namespace morvane
