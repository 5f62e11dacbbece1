#pragma once

#include <QBackingStore>

#include "receiver/VideoView.h"

namespace tessaline {

/// A view that draws without graphics hardware: it converts a picture straight into the memory that
/// the window system shows, once and without a copy in between. That costs the main thread less
/// than copying a picture that another thread has converted. Pictures of another size than the
/// view's are scaled before they arrive. A pointer that moves costs the area around it.
class RasterVideoView final : public VideoView {
 public:
  RasterVideoView(Queues& queues, platform::VideoDecoding& decoding);

 protected:
  void draw(const QRect& area) override;
  void resized() override;

 private:
  /// `area` of the canvas, picture and pointer.
  void compose(QImage& canvas, const QRect& area);
  void drawPicture(QImage& canvas, const QRect& area);
  void drawPointer(QImage& canvas, const QRect& area);

  platform::VideoDecoding& decoding_;
  QBackingStore store_;
  QImage scaledPointer_;  // as large as it is drawn
  qint64 scaledFrom_ = 0;
};

}  // namespace tessaline
