#include "toolkit/qt/screen_video.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QTimer>
#include <QWindow>
#include <mutex>
#include <thread>
#include <utility>

#include "toolkit/qt/picture_painter.h"
#include "toolkit/qt/window_shadow.h"
#include "toolkit/video_window.h"

namespace morvane::toolkit {
namespace {

// A context with the old drawing operations; a frame waits for nothing.
QSurfaceFormat Format() {
  QSurfaceFormat format;
  format.setRenderableType(QSurfaceFormat::OpenGL);
  format.setProfile(QSurfaceFormat::CompatibilityProfile);
  format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
  format.setSwapInterval(0);
  return format;
}

std::unique_ptr<QOpenGLContext> MakeContext() {
  auto context = std::make_unique<QOpenGLContext>();
  context->setFormat(Format());
  if (!context->create()) return nullptr;
  return context;
}

bool PlatformDraws() {
  static const bool draws = QGuiApplication::platformName() == "xcb" &&
                            QOpenGLContext::supportsThreadedOpenGL() && MakeContext() != nullptr;
  return draws;
}

void CopyPlacing(const FramePicture& from, FramePicture* to) {
  to->width = from.width;
  to->height = from.height;
  to->rowBytes = from.width * 4;
  to->aspectX = from.aspectX;
  to->aspectY = from.aspectY;
  to->originX = from.originX;
  to->originY = from.originY;
  to->zoomX = from.zoomX;
  to->zoomY = from.zoomY;
}

class ScreenVideo;

// The native window. It takes the mouse, never the keyboard.
class Surface final : public QWindow {
 public:
  Surface(NodeId id, ScreenVideo* video) : id_(id), video_(video) {
    setSurfaceType(QSurface::OpenGLSurface);
    setFormat(Format());
    setFlag(Qt::WindowDoesNotAcceptFocus);
  }
  void Forget() { video_ = nullptr; }

 protected:
  bool event(QEvent* event) override {
    if (TellMouse(id_, height(), event)) return true;
    if (event->type() == QEvent::Wheel) {
      TellWheel(event);
      return true;
    }
    return QWindow::event(event);
  }
  void exposeEvent(QExposeEvent* event) override;

 private:
  const NodeId id_;
  ScreenVideo* video_;
  bool told_ = false;  // that it was uncovered, soon
};

class ScreenVideo final : public VideoShadow {
 public:
  ScreenVideo(const VideoState& state, QWidget* top)
      : surface_(new Surface(state.id, this)),
        widget_(QWidget::createWindowContainer(surface_, top)) {
    widget_->setObjectName(QString::fromStdString(state.name));
    widget_->setAccessibleName(widget_->objectName());
    widget_->setFocusPolicy(Qt::NoFocus);
    widget_->hide();
  }
  ~ScreenVideo() override {
    surface_->Forget();
    // Deliberate: the context of a run that was not ended belongs to a thread that was abandoned.
    // It cannot be deleted from here and stays until the process ends.
    if (runThread_ != std::thread::id() && runThread_ != std::this_thread::get_id()) {
      (void)context_.release();
    }
    Bury(widget_);
  }

  void Update(const VideoState& state) override {
    const NxRECT& place = state.absolute;
    {
      const std::lock_guard lock(mutex_);
      width_ = place.w;
      height_ = place.h;
    }
    widget_->setGeometry(place.x, state.rootHeight - place.y - place.h, place.w, place.h);
    widget_->setVisible(state.onScreen);
  }

  bool Begin(uint32_t /*width*/, uint32_t /*height*/, uint32_t displayType) override {
    const std::lock_guard lock(mutex_);
    displayType_ = displayType;
    runThread_ = std::this_thread::get_id();
    painter_ = {};
    return true;
  }

  void Show(FramePicture* picture) override {
    const std::lock_guard lock(mutex_);
    if (context_ == nullptr) context_ = MakeContext();
    const bool drawn = exposed_ && Draw(context_.get(), &painter_, picture, displayType_);
    CopyPlacing(*picture, &latest_);
    shown_ = true;
    // What could not be drawn is drawn when the window comes to light, and only a texture can be
    // read back.
    if (drawn && displayType_ != NXDISPLAY_DRAWPIXELS) {
      kept_ = nullptr;
      return;
    }
    if (kept_ == nullptr) kept_ = std::make_unique<FramePicture>();
    std::swap(*kept_, *picture);
  }

  void End() override {
    const std::lock_guard lock(mutex_);
    if (kept_ == nullptr && shown_) KeepLatest();
    context_.reset();
    runThread_ = {};
    shown_ = false;
  }

  void Blacken() override {
    const std::lock_guard lock(mutex_);
    kept_ = nullptr;
    shown_ = false;
    if (!exposed_) return;
    const bool inRun = runThread_ == std::this_thread::get_id();
    if (inRun && context_ == nullptr) context_ = MakeContext();
    const auto own = inRun ? nullptr : MakeContext();
    Draw(inRun ? context_.get() : own.get(), nullptr, nullptr, 0);
  }

  [[nodiscard]] const char* Painter() const override { return "window"; }

  // Main thread: the window was uncovered, or hidden.
  void Exposed(bool exposed) {
    const std::lock_guard lock(mutex_);
    exposed_ = exposed;
    if (!exposed) return;
    // A run draws its next frame by itself; the one before it is not ours to draw.
    if (shown_ && kept_ == nullptr) return;
    const auto own = MakeContext();
    PicturePainter painter;
    Draw(own.get(), &painter, kept_.get(), NXDISPLAY_TEXTURE);
  }

 private:
  // Draws a picture, or black, with a context of this thread. The mutex is held.
  bool Draw(QOpenGLContext* context, PicturePainter* painter, const FramePicture* picture,
            uint32_t displayType) {
    if (context == nullptr || width_ < 1 || height_ < 1) return false;
    if (!context->makeCurrent(surface_)) return false;
    if (picture != nullptr) {
      painter->Paint(*picture, displayType, width_, height_);
    } else {
      PicturePainter::PaintBlack(width_, height_);
    }
    context->swapBuffers(surface_);
    context->doneCurrent();
    return true;
  }

  // The last frame of a run stays: its pixels come back from the texture.
  void KeepLatest() {
    if (context_ == nullptr || !exposed_ || !context_->makeCurrent(surface_)) return;
    auto kept = std::make_unique<FramePicture>();
    CopyPlacing(latest_, kept.get());
    if (painter_.ReadBack(&kept->pixels, kept->width, kept->height)) kept_ = std::move(kept);
    context_->doneCurrent();
  }

  Surface* const surface_;  // the container's
  QWidget* const widget_;
  std::mutex mutex_;  // held for a frame at most
  bool exposed_ = false;
  int width_ = 0;
  int height_ = 0;
  uint32_t displayType_ = 0;
  std::thread::id runThread_;
  std::unique_ptr<QOpenGLContext> context_;  // made and deleted in the run's thread
  PicturePainter painter_;
  FramePicture latest_;                 // without its pixels: they are in the painter's texture
  bool shown_ = false;                  // a frame of this run is on the screen
  std::unique_ptr<FramePicture> kept_;  // what an uncovered window shows; null: black, or a run's
};

void Surface::exposeEvent(QExposeEvent* /*event*/) {
  if (video_ == nullptr) return;
  video_->Exposed(isExposed());
  if (!isExposed() || std::exchange(told_, true)) return;
  // The application may draw in its answer, so not from within; once for several pieces.
  QTimer::singleShot(0, this, [this] {
    told_ = false;
    UserExposed(id_);
  });
}

}  // namespace

std::unique_ptr<VideoShadow> MakeScreenVideo(const VideoState& state, QWidget* top) {
  if (!PlatformDraws()) return nullptr;
  return std::make_unique<ScreenVideo>(state, top);
}

}  // namespace morvane::toolkit
