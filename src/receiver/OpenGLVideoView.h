#pragma once

#include <QOpenGLContext>
#include <array>

#include "receiver/VideoView.h"

namespace tessaline {

/// A view that draws with OpenGL: the planes of a picture are textures, and the graphics hardware
/// converts and scales them. Works with OpenGL 2.1 and OpenGL ES 2.
class OpenGLVideoView final : public VideoView {
 public:
  OpenGLVideoView(Queues& queues, platform::VideoDecoding& decoding);
  ~OpenGLVideoView() override;

  /// Whether OpenGL is there, and is hardware: a program that imitates it is slower than drawing
  /// without it.
  [[nodiscard]] static bool fast();

 protected:
  /// All of the window, whatever `area` says: it costs the hardware nothing.
  void draw(const QRect& area) override;

 private:
  struct Plane {
    unsigned texture = 0;
    int width = 0;  // texels
    int height = 0;
    unsigned format = 0;
  };
  [[nodiscard]] bool begin();
  [[nodiscard]] bool prepare();
  void uploadPicture();
  void upload(Plane& plane, int width, int height, unsigned format, const void* texels);
  void drawPicture();
  void drawPointer();
  void drawRect(unsigned program, const QRect& rect);

  QOpenGLContext context_;
  bool failed_ = false;
  unsigned pictureProgram_ = 0;
  unsigned pointerProgram_ = 0;
  unsigned corners_ = 0;  // a buffer
  std::array<Plane, 3> planes_;
  Plane pointerPlane_;
  LatestPicture::Picture uploaded_;  // what the textures hold
  qint64 uploadedPointer_ = 0;
};

}  // namespace tessaline
