#pragma once

#include <QImage>
#include <QRect>
#include <QWindow>
#include <functional>
#include <memory>
#include <optional>

#include "base/Geometry.h"
#include "receiver/LatestPicture.h"
#include "receiver/PointerPlacement.h"

namespace tessaline {

/// The full window's picture area, which is all of it: the newest picture, letterboxed on black,
/// and the pointer on top. It draws as soon as there is something new and waits for no clock of the
/// toolkit. How it draws is the derived class's matter. Main thread. All rectangles are in pixels
/// of the screen.
class VideoView : public QWindow {
 public:
  ~VideoView() override;

  /// A view that draws with the machine's graphics hardware where there is any, else one that draws
  /// by itself. `queues` and `decoding` outlive it.
  [[nodiscard]] static std::unique_ptr<VideoView> create(Queues& queues,
                                                         platform::VideoDecoding& decoding);

  /// Somebody pressed Esc.
  std::function<void()> onEscape;

  [[nodiscard]] const std::shared_ptr<LatestPicture>& latestPicture() const { return latest_; }
  [[nodiscard]] PixelSize pixelSize() const;
  void setPointerImage(const QImage& image);
  void placePointer(const std::optional<ViewRect>& frame);

 protected:
  VideoView(Queues& queues, platform::VideoDecoding& decoding);

  /// Draws `area` again; only while the window can be seen.
  virtual void draw(const QRect& area) = 0;
  /// The window has another size.
  virtual void resized() {}

  [[nodiscard]] const LatestPicture::Picture& picture() const { return picture_; }
  /// Where the picture appears; empty while there is none.
  [[nodiscard]] QRect pictureRect() const;
  /// What the pointer looks like and where; an empty rectangle while there is none.
  [[nodiscard]] const QImage& pointerImage() const { return pointerImage_; }
  [[nodiscard]] QRect pointerRect() const { return pointerRect_; }
  [[nodiscard]] QRect wholeRect() const;

  void exposeEvent(QExposeEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void show(LatestPicture::Picture picture, std::optional<PixelRect> changed);
  void drawIfSeen(const QRect& area);

  const std::shared_ptr<LatestPicture> latest_;
  LatestPicture::Picture picture_;
  QImage pointerImage_;
  QRect pointerRect_;
};

}  // namespace tessaline
