#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/nx_err.h"
#include "capture/capture_engine.h"
#include "capture/capture_job.h"
#include "device/formats.h"
#include "media/media_records.h"
#include "session/card2.h"

namespace morvane {

// The steps of one CaptureEngine::Prepare(), and what they found. Lives for that call.
// Threads: main thread.
class CapturePreparation {
 public:
  explicit CapturePreparation(CaptureEngine& engine);

  // All steps behind the engine lock, in order. Returns: 0 with the job complete, or the code of
  // the step that failed, with everything undone that the steps made.
  NxErr Run();

 private:
  // What is to be captured (capture_plan.cpp).
  NxErr PlanVideo();   // the file's video format and the card's layout for it
  NxErr PlanSound();   // the file's audio format
  NxErr PlanStyle();   // which of the two are on
  NxErr PlanLength();  // frames to do
  void DescribePicture();
  void DescribeSound();
  void DescribeClip();
  [[nodiscard]] NxTimeCodeRecord Stamp() const;

  // Making it so (capture_prepare.cpp).
  void SetCard();
  NxErr ReadNames();
  NxErr MakeFolder();
  NxErr CreateFiles();
  void FillJob();
  void FillImageRequest();
  NxErr AllocateRing();
  NxErr InitCirculation();
  void KeepFacts();

  CaptureEngine& engine_;
  CRQD5Card2& session_;
  CaptureSettings& settings_;
  CaptureJob& job_;
  uint32_t rateScale_ = 0;  // of the clip: frames a second are scale / duration
  uint32_t rateDuration_ = 1;
  uint32_t width_ = 0;  // of the picture
  uint32_t height_ = 0;
  uint32_t cardChannels_ = 0;
  NxImageWriteFormatDescription picture_ = {};
  NxAudioWriteFormatDescription sound_ = {};
  RQD5FrameBufferFormat cardFormat_ = FrameBuffer8BitUyvy;
  uint32_t kind_ = 0;  // 1 video, 2 audio, 4 in separate files, 8 in one file
  NxMediaCreateInfo info_ = {};
  std::string videoFolder_;
  std::string audioFolder_;
  std::string clipName_;
  std::string startNumber_;
};

}  // namespace morvane
