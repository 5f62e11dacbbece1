#include "receiver/VideoView.h"

#include <QKeyEvent>
#include <utility>

#include "receiver/OpenGLVideoView.h"
#include "receiver/RasterVideoView.h"

namespace tessaline {

std::unique_ptr<VideoView> VideoView::create(Queues& queues, platform::VideoDecoding& decoding) {
  if (OpenGLVideoView::fast()) return std::make_unique<OpenGLVideoView>(queues, decoding);
  return std::make_unique<RasterVideoView>(queues, decoding);
}

VideoView::VideoView(Queues& queues, platform::VideoDecoding& decoding)
    : latest_(std::make_shared<LatestPicture>(queues, decoding)) {
  latest_->onPicture = [this](LatestPicture::Picture picture, std::optional<PixelRect> changed) {
    show(std::move(picture), changed);
  };
  setCursor(Qt::BlankCursor);
}

VideoView::~VideoView() {
  latest_->onPicture = nullptr;
}

PixelSize VideoView::pixelSize() const {
  const double scale = devicePixelRatio();
  return {qRound(width() * scale), qRound(height() * scale)};
}

QRect VideoView::wholeRect() const {
  const PixelSize size = pixelSize();
  return {0, 0, size.width, size.height};
}

QRect VideoView::pictureRect() const {
  if (!picture_) return {};
  const ViewRect fit = aspectFit(picture_->size, pixelSize());
  return QRectF(fit.x, fit.y, fit.width, fit.height).toRect();
}

void VideoView::show(LatestPicture::Picture picture, std::optional<PixelRect> changed) {
  const QRect before = pictureRect();
  const PixelSize sizeBefore = picture_ ? picture_->size : PixelSize();
  picture_ = std::move(picture);
  const QRect now = pictureRect();
  const bool pixelForPixel = picture_ && picture_->size == sizeBefore &&
                             PixelSize{now.width(), now.height()} == sizeBefore;
  if (now != before) {
    drawIfSeen(wholeRect());
  } else if (changed && pixelForPixel) {
    drawIfSeen({now.x() + changed->x, now.y() + changed->y, changed->width, changed->height});
  } else {
    drawIfSeen(now);  // the letters of black stay
  }
}

void VideoView::setPointerImage(const QImage& image) {
  pointerImage_ = image;
  drawIfSeen(pointerRect_);
}

void VideoView::placePointer(const std::optional<ViewRect>& frame) {
  const QRect before = pointerRect_;
  pointerRect_ = frame ? QRectF(frame->x, frame->y, frame->width, frame->height).toRect() : QRect();
  if (pointerRect_ == before) return;
  // The two areas overlap while the pointer moves as a hand does.
  if (before.intersects(pointerRect_)) {
    drawIfSeen(before.united(pointerRect_));
  } else {
    drawIfSeen(before);
    drawIfSeen(pointerRect_);
  }
}

void VideoView::drawIfSeen(const QRect& area) {
  const QRect seen = area.intersected(wholeRect());
  if (isExposed() && !seen.isEmpty()) draw(seen);
}

void VideoView::exposeEvent(QExposeEvent*) {
  drawIfSeen(wholeRect());
}

void VideoView::resizeEvent(QResizeEvent*) {
  resized();
  drawIfSeen(wholeRect());
}

void VideoView::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape && onEscape) {
    onEscape();
    return;
  }
  event->ignore();
}

}  // namespace tessaline
