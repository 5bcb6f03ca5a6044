#pragma once

#include <QWidget>
#include <memory>

#include "toolkit/core/user_events.h"

namespace morvane::toolkit {

// A video window as a child of the top-level window. Where frames are drawn by the platform's own
// OpenGL, else in memory; both look the same. Threads: main.
[[nodiscard]] std::unique_ptr<VideoShadow> MakeVideoShadow(const VideoState& state, QWidget* top);

}  // namespace morvane::toolkit
