#pragma once

#include <QWidget>
#include <memory>

#include "toolkit/core/user_events.h"

namespace morvane::toolkit {

// A video window that each thread draws into by itself: a native window with a context for each
// run. Threads: main.
// Returns: null where the platform has no OpenGL of this kind; video_shadow.h then draws in memory.
[[nodiscard]] std::unique_ptr<VideoShadow> MakeScreenVideo(const VideoState& state, QWidget* top);

}  // namespace morvane::toolkit
