#include "receiver/OpenGLVideoView.h"

#include <QOffscreenSurface>
#include <QOpenGLFunctions>
#include <QString>
#include <utility>

#include "base/Log.h"

namespace tessaline {
namespace {

// What imitates graphics hardware, as its renderer's name begins or goes on.
constexpr std::array kImitations = {"llvmpipe", "softpipe", "swrast", "SWR", "Software Rasterizer"};

constexpr const char* kVertexShader = R"(
attribute vec2 corner;
uniform vec4 place;  // left, top, width, height in clip space
varying vec2 at;
void main() {
  at = corner;
  gl_Position = vec4(place.xy + corner * place.zw * vec2(1.0, -1.0), 0.0, 1.0);
})";

// A texture is as wide as its rows are in memory; `limit` keeps the last column's neighbours, which
// belong to no picture, out of it.
constexpr const char* kPictureShader = R"(
#ifdef GL_ES
precision highp float;
#endif
varying vec2 at;
uniform sampler2D luma;
uniform sampler2D chroma;
uniform sampler2D chroma2;
uniform bool biPlanar;
uniform vec2 lumaExtent;    // what part of the texture's width the picture is, and its limit
uniform vec2 chromaExtent;
uniform mat3 matrix;
uniform vec3 offset;
void main() {
  vec2 l = vec2(min(at.x * lumaExtent.x, lumaExtent.y), at.y);
  vec2 c = vec2(min(at.x * chromaExtent.x, chromaExtent.y), at.y);
  vec3 yuv = vec3(texture2D(luma, l).r, 0.0, 0.0);
  if (biPlanar) {
    yuv.yz = texture2D(chroma, c).ra;
  } else {
    yuv.y = texture2D(chroma, c).r;
    yuv.z = texture2D(chroma2, c).r;
  }
  gl_FragColor = vec4(matrix * (yuv - offset), 1.0);
})";

constexpr const char* kPointerShader = R"(
#ifdef GL_ES
precision mediump float;
#endif
varying vec2 at;
uniform sampler2D image;
void main() { gl_FragColor = texture2D(image, at); })";

/// From Y'CbCr to RGB, by the luma weights of red and blue.
struct Colours {
  std::array<float, 9> matrix;  // column by column
  float black;                  // luma's offset
};

Colours coloursOf(const platform::VideoPicture& picture) {
  using Matrix = platform::VideoPicture::Matrix;
  float red = 0.299F;
  float blue = 0.114F;
  if (picture.matrix == Matrix::bt709) {
    red = 0.2126F;
    blue = 0.0722F;
  } else if (picture.matrix == Matrix::bt2020) {
    red = 0.2627F;
    blue = 0.0593F;
  }
  const float green = 1 - red - blue;
  const float luma = picture.fullRange ? 1.0F : 255.0F / 219.0F;
  const float chroma = picture.fullRange ? 1.0F : 255.0F / 224.0F;
  const float cr = 2 * (1 - red) * chroma;
  const float cb = 2 * (1 - blue) * chroma;
  return {{luma, luma, luma, 0, -cb * blue / green, cb, cr, -cr * red / green, 0},
          picture.fullRange ? 0.0F : 16.0F / 255.0F};
}

/// 0 when the driver refuses it.
unsigned link(QOpenGLFunctions& gl, const char* fragmentShader) {
  const unsigned program = gl.glCreateProgram();
  for (auto [kind, source] :
       {std::pair{GL_VERTEX_SHADER, kVertexShader}, {GL_FRAGMENT_SHADER, fragmentShader}}) {
    const unsigned shader = gl.glCreateShader(static_cast<GLenum>(kind));
    gl.glShaderSource(shader, 1, &source, nullptr);
    gl.glCompileShader(shader);
    gl.glAttachShader(program, shader);
    gl.glDeleteShader(shader);  // lives as long as the program
  }
  gl.glBindAttribLocation(program, 0, "corner");
  gl.glLinkProgram(program);
  GLint linked = 0;
  gl.glGetProgramiv(program, GL_LINK_STATUS, &linked);
  return linked != 0 ? program : 0;
}

}  // namespace

bool OpenGLVideoView::fast() {
  QOffscreenSurface surface;
  surface.create();
  QOpenGLContext context;
  if (!surface.isValid() || !context.create() || !context.makeCurrent(&surface)) return false;
  const auto* name = reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
  const QString renderer = QString::fromUtf8(name);
  context.doneCurrent();
  if (renderer.isEmpty()) return false;
  for (const char* imitation : kImitations) {
    if (renderer.contains(QLatin1String(imitation), Qt::CaseInsensitive)) return false;
  }
  log("pictures are drawn by " + renderer.toStdString());
  return true;
}

OpenGLVideoView::OpenGLVideoView(Queues& queues, platform::VideoDecoding& decoding)
    : VideoView(queues, decoding) {
  setSurfaceType(OpenGLSurface);
  QSurfaceFormat format;
  // A picture is shown when it is there. Waiting for the display's next turn would hold the main
  // thread, and the picture, for up to a whole one.
  format.setSwapInterval(0);
  setFormat(format);
}

OpenGLVideoView::~OpenGLVideoView() {
  if (!context_.isValid() || handle() == nullptr || !context_.makeCurrent(this)) return;
  auto* const gl = context_.functions();
  for (const auto* plane : {&planes_[0], &planes_[1], &planes_[2], &pointerPlane_}) {
    gl->glDeleteTextures(1, &plane->texture);
  }
  gl->glDeleteBuffers(1, &corners_);
  gl->glDeleteProgram(pictureProgram_);
  gl->glDeleteProgram(pointerProgram_);
  context_.doneCurrent();
}

bool OpenGLVideoView::begin() {
  if (failed_) return false;
  if (!context_.isValid()) {
    context_.setFormat(requestedFormat());
    failed_ = !context_.create() || !context_.makeCurrent(this) || !prepare();
    if (failed_) log("pictures cannot be drawn: OpenGL fails");
    return !failed_;
  }
  return context_.makeCurrent(this);
}

bool OpenGLVideoView::prepare() {
  auto* const gl = context_.functions();
  pictureProgram_ = link(*gl, kPictureShader);
  pointerProgram_ = link(*gl, kPointerShader);
  constexpr std::array<float, 8> kCorners = {0, 0, 1, 0, 0, 1, 1, 1};
  gl->glGenBuffers(1, &corners_);
  gl->glBindBuffer(GL_ARRAY_BUFFER, corners_);
  gl->glBufferData(GL_ARRAY_BUFFER, sizeof kCorners, kCorners.data(), GL_STATIC_DRAW);
  return pictureProgram_ != 0 && pointerProgram_ != 0;
}

void OpenGLVideoView::draw(const QRect&) {
  if (!begin()) return;
  auto* const gl = context_.functions();
  const PixelSize size = pixelSize();
  gl->glViewport(0, 0, size.width, size.height);
  gl->glClearColor(0, 0, 0, 1);
  gl->glClear(GL_COLOR_BUFFER_BIT);
  gl->glDisable(GL_DEPTH_TEST);
  if (picture()) drawPicture();
  if (!pointerImage().isNull() && !pointerRect().isEmpty()) drawPointer();
  context_.swapBuffers(this);
}

void OpenGLVideoView::upload(Plane& plane, int width, int height, unsigned format,
                             const void* texels) {
  auto* const gl = context_.functions();
  if (plane.texture == 0) gl->glGenTextures(1, &plane.texture);
  gl->glBindTexture(GL_TEXTURE_2D, plane.texture);
  gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  if (plane.width == width && plane.height == height && plane.format == format) {
    gl->glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, format, GL_UNSIGNED_BYTE, texels);
    return;
  }
  plane = {plane.texture, width, height, format};
  for (const auto parameter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER}) {
    gl->glTexParameteri(GL_TEXTURE_2D, static_cast<GLenum>(parameter), GL_LINEAR);
  }
  for (const auto parameter : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) {
    gl->glTexParameteri(GL_TEXTURE_2D, static_cast<GLenum>(parameter), GL_CLAMP_TO_EDGE);
  }
  gl->glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format,
                   GL_UNSIGNED_BYTE, texels);
}

void OpenGLVideoView::uploadPicture() {
  const auto& shown = *picture();
  const bool biPlanar = shown.layout == platform::VideoPicture::Layout::biPlanar;
  const int chromaHeight = (shown.size.height + 1) / 2;
  upload(planes_[0], shown.planes[0].stride, shown.size.height, GL_LUMINANCE, shown.planes[0].data);
  if (biPlanar) {
    upload(planes_[1], shown.planes[1].stride / 2, chromaHeight, GL_LUMINANCE_ALPHA,
           shown.planes[1].data);
    return;
  }
  for (const std::size_t i : {1U, 2U}) {
    upload(planes_[i], shown.planes[i].stride, chromaHeight, GL_LUMINANCE, shown.planes[i].data);
  }
}

void OpenGLVideoView::drawPicture() {
  if (uploaded_ != picture()) uploadPicture();
  uploaded_ = picture();

  auto* const gl = context_.functions();
  gl->glUseProgram(pictureProgram_);
  const auto uniform = [this, gl](const char* name) {
    return gl->glGetUniformLocation(pictureProgram_, name);
  };
  constexpr std::array kSamplers = {"luma", "chroma", "chroma2"};
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    gl->glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + i));
    gl->glBindTexture(GL_TEXTURE_2D, planes_[i].texture);
    gl->glUniform1i(uniform(kSamplers[i]), static_cast<GLint>(i));
  }
  gl->glUniform1i(uniform("biPlanar"),
                  picture()->layout == platform::VideoPicture::Layout::biPlanar ? 1 : 0);
  const auto setExtent = [gl](GLint location, float used, const Plane& plane) {
    const auto texels = static_cast<float>(plane.width);
    gl->glUniform2f(location, used / texels, (used - 0.5F) / texels);
  };
  const auto width = static_cast<float>(picture()->size.width);
  setExtent(uniform("lumaExtent"), width, planes_[0]);
  setExtent(uniform("chromaExtent"), width / 2, planes_[1]);
  const Colours colours = coloursOf(*picture());
  constexpr float kGrey = 128.0F / 255.0F;
  gl->glUniformMatrix3fv(uniform("matrix"), 1, GL_FALSE, colours.matrix.data());
  gl->glUniform3f(uniform("offset"), colours.black, kGrey, kGrey);
  gl->glDisable(GL_BLEND);
  drawRect(pictureProgram_, pictureRect());
}

void OpenGLVideoView::drawPointer() {
  auto* const gl = context_.functions();
  gl->glActiveTexture(GL_TEXTURE0);
  if (uploadedPointer_ != pointerImage().cacheKey()) {
    const QImage image = pointerImage().convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    upload(pointerPlane_, image.width(), image.height(), GL_RGBA, image.constBits());
    uploadedPointer_ = pointerImage().cacheKey();
  }
  gl->glBindTexture(GL_TEXTURE_2D, pointerPlane_.texture);
  gl->glUseProgram(pointerProgram_);
  gl->glUniform1i(gl->glGetUniformLocation(pointerProgram_, "image"), 0);
  gl->glEnable(GL_BLEND);
  gl->glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
  drawRect(pointerProgram_, pointerRect());
}

void OpenGLVideoView::drawRect(unsigned program, const QRect& rect) {
  auto* const gl = context_.functions();
  const PixelSize size = pixelSize();
  const auto width = static_cast<float>(size.width);
  const auto height = static_cast<float>(size.height);
  gl->glUniform4f(
      gl->glGetUniformLocation(program, "place"), 2 * static_cast<float>(rect.x()) / width - 1,
      1 - 2 * static_cast<float>(rect.y()) / height, 2 * static_cast<float>(rect.width()) / width,
      2 * static_cast<float>(rect.height()) / height);
  gl->glBindBuffer(GL_ARRAY_BUFFER, corners_);
  gl->glEnableVertexAttribArray(0);
  gl->glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
  gl->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

}  // namespace tessaline
