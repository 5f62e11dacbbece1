#include "receiver/RasterVideoView.h"

#include <QPainter>
#include <QRegion>

namespace tessaline {
namespace {

/// The smallest rectangle of even coordinates around `rect`: colours are shared by two pixels.
QRect evened(const QRect& rect) {
  const int left = rect.left() & ~1;
  const int top = rect.top() & ~1;
  return {left, top, rect.right() + 1 - left, rect.bottom() + 1 - top};
}

bool blueFirst(const QImage& image) {
  return image.format() == QImage::Format_RGB32 ||
         image.format() == QImage::Format_ARGB32_Premultiplied;
}

}  // namespace

RasterVideoView::RasterVideoView(Queues& queues, platform::VideoDecoding& decoding)
    : VideoView(queues, decoding), decoding_(decoding), store_(this) {
  setSurfaceType(RasterSurface);
}

void RasterVideoView::resized() {
  latestPicture()->scaleTo(pixelSize());
}

void RasterVideoView::draw(const QRect& area) {
  if (store_.size() != size()) store_.resize(size());
  // The window system counts in points, of which a pixel may be a part.
  const double scale = devicePixelRatio();
  const QRect points =
      QRectF(area.x() / scale, area.y() / scale, area.width() / scale, area.height() / scale)
          .toAlignedRect();
  store_.beginPaint(points);
  auto* const canvas = dynamic_cast<QImage*>(store_.paintDevice());
  if (canvas != nullptr && blueFirst(*canvas)) {
    compose(*canvas, area.intersected(canvas->rect()));
  } else {
    // A display of few colours, or of more than usual.
    QImage whole(wholeRect().size(), QImage::Format_RGB32);
    compose(whole, area);
    whole.setDevicePixelRatio(scale);
    QPainter(store_.paintDevice()).drawImage(QPoint(), whole);
  }
  store_.endPaint();
  store_.flush(points);
}

void RasterVideoView::compose(QImage& canvas, const QRect& area) {
  // The picture may begin at an odd pixel of the window, so it decides what is even.
  const QPoint origin = pictureRect().topLeft();
  const QRect grown = evened(area.translated(-origin)).translated(origin).intersected(wholeRect());
  drawPicture(canvas, grown);
  drawPointer(canvas, grown);
}

void RasterVideoView::drawPicture(QImage& canvas, const QRect& area) {
  const QRect place = pictureRect();
  // A picture of another size is on its way to be scaled; this one is a moment's.
  const bool fits = picture() && place.width() == picture()->size.width &&
                    place.height() == picture()->size.height;
  const QRect shown = fits ? area.intersected(place) : QRect();
  const QRegion black = QRegion(area).subtracted(shown);
  if (!black.isEmpty()) {
    QPainter painter(&canvas);
    painter.scale(1 / canvas.devicePixelRatio(), 1 / canvas.devicePixelRatio());
    for (const QRect& rect : black) painter.fillRect(rect, Qt::black);
  }
  if (shown.isEmpty()) return;
  const QRect part = evened(shown.translated(-place.topLeft()));
  const QPoint at = part.topLeft() + place.topLeft();
  auto* const pixels = canvas.bits() + qsizetype{at.y()} * canvas.bytesPerLine() +
                       qsizetype{at.x()} * (canvas.depth() / 8);
  decoding_.convert(*picture(), {part.x(), part.y(), part.width(), part.height()}, pixels,
                    static_cast<int>(canvas.bytesPerLine()));
}

void RasterVideoView::drawPointer(QImage& canvas, const QRect& area) {
  const QRect place = pointerRect();
  if (pointerImage().isNull() || !place.intersects(area)) return;
  QPainter painter(&canvas);
  painter.scale(1 / canvas.devicePixelRatio(), 1 / canvas.devicePixelRatio());
  painter.setClipRect(area);
  // A stream may make its pointer as large as it likes; what the screen has no room for costs
  // neither memory nor time.
  if (place.width() > canvas.width() || place.height() > canvas.height()) {
    painter.drawImage(place, pointerImage());
    return;
  }
  if (scaledFrom_ != pointerImage().cacheKey() || scaledPointer_.size() != place.size()) {
    scaledFrom_ = pointerImage().cacheKey();
    scaledPointer_ =
        pointerImage().scaled(place.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  }
  painter.drawImage(place.topLeft(), scaledPointer_);
}

}  // namespace tessaline
