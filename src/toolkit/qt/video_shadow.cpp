#include "toolkit/qt/video_shadow.h"

#include <QCoreApplication>
#include <QEvent>
#include <QImage>
#include <QPainter>
#include <QPointer>
#include <QTimer>
#include <mutex>

#include "toolkit/qt/gl_memory.h"
#include "toolkit/qt/picture_painter.h"
#include "toolkit/qt/screen_video.h"
#include "toolkit/qt/window_shadow.h"

namespace morvane::toolkit {
namespace {

const auto kShowEvent = static_cast<QEvent::Type>(QEvent::User + 2);

// What a thread has drawn, on its way to the screen.
struct Front {
  std::mutex mutex;
  QImage image;  // null: black
  bool posted = false;
  QSize size;  // of the window
};

class VideoWidget final : public QWidget {
 public:
  VideoWidget(NodeId id, std::shared_ptr<Front> front, QWidget* parent)
      : QWidget(parent), id_(id), front_(std::move(front)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() == kShowEvent) {
      {
        const std::lock_guard lock(front_->mutex);
        front_->posted = false;
      }
      update();
      return true;
    }
    if (TellMouse(id_, height(), event)) return true;
    if (event->type() == QEvent::Wheel) {
      TellWheel(event);
      return true;
    }
    // The application may draw in its answer, so not from within what has just shown the window.
    if (event->type() == QEvent::Show) {
      QTimer::singleShot(0, this, [id = id_] { UserExposed(id); });
    }
    return QWidget::event(event);
  }

  void paintEvent(QPaintEvent* /*event*/) override {
    QImage image;
    {
      const std::lock_guard lock(front_->mutex);
      image = front_->image;
    }
    QPainter painter(this);
    if (image.size() != size()) painter.fillRect(rect(), Qt::black);
    painter.drawImage((width() - image.width()) / 2, (height() - image.height()) / 2, image);
  }

 private:
  const NodeId id_;
  const std::shared_ptr<Front> front_;
};

class MemoryVideo final : public VideoShadow {
 public:
  MemoryVideo(const VideoState& state, QWidget* top)
      : front_(std::make_shared<Front>()), widget_(new VideoWidget(state.id, front_, top)) {
    widget_->setObjectName(QString::fromStdString(state.name));
    widget_->setAccessibleName(widget_->objectName());
    widget_->hide();
  }
  ~MemoryVideo() override { Bury(widget_); }

  void Update(const VideoState& state) override {
    const NxRECT& place = state.absolute;
    widget_->setGeometry(place.x, state.rootHeight - place.y - place.h, place.w, place.h);
    {
      const std::lock_guard lock(front_->mutex);
      front_->size = QSize(place.w, place.h);
    }
    widget_->setVisible(state.onScreen);
    if (state.onScreen) widget_->raise();
  }

  bool Begin(uint32_t /*width*/, uint32_t /*height*/, uint32_t displayType) override {
    memory_ = GlMemory::Create();
    painter_ = {};
    displayType_ = displayType;
    return true;
  }

  void Show(FramePicture* picture) override {
    QSize size;
    {
      const std::lock_guard lock(front_->mutex);
      size = front_->size;
    }
    if (size.isEmpty()) return;
    QImage image(size, QImage::Format_RGB32);
    if (memory_ != nullptr && memory_->Enter(size.width(), size.height())) {
      painter_.Paint(*picture, displayType_, size.width(), size.height());
      memory_->Read(image.bits());
      memory_->Leave();
      image = image.mirrored();
    } else {
      PaintWithoutOpenGl(*picture, &image);
    }
    Present(image);
  }

  void End() override { memory_.reset(); }
  void Blacken() override { Present({}); }
  [[nodiscard]] const char* Painter() const override { return "memory"; }

 private:
  static void PaintWithoutOpenGl(const FramePicture& picture, QImage* image) {
    image->fill(Qt::black);
    const FramePlace place = PlacePicture(picture, image->width(), image->height());
    const QImage source(picture.pixels.data(), picture.width, picture.height, picture.rowBytes,
                        QImage::Format_RGB32);
    QPainter painter(image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(place.x, image->height() - place.y - place.h, place.w, place.h),
                      source);
  }

  void Present(const QImage& image) {
    bool post = false;
    {
      const std::lock_guard lock(front_->mutex);
      front_->image = image;
      post = !std::exchange(front_->posted, true);
    }
    if (post) QCoreApplication::postEvent(widget_, new QEvent(kShowEvent));
  }

  const std::shared_ptr<Front> front_;
  QWidget* const widget_;  // outlives every call: it is buried with this object
  // Of the thread that has the run.
  std::unique_ptr<GlMemory> memory_;
  PicturePainter painter_;
  uint32_t displayType_ = 0;
};

}  // namespace

std::unique_ptr<VideoShadow> MakeVideoShadow(const VideoState& state, QWidget* top) {
  if (auto onScreen = MakeScreenVideo(state, top); onScreen != nullptr) return onScreen;
  return std::make_unique<MemoryVideo>(state, top);
}

}  // namespace morvane::toolkit
