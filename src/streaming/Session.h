#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/DesktopEnvironment.h"
#include "platform/VideoCoding.h"
#include "streaming/ScreenLink.h"

namespace tessaline {

class Arrangement;
class CaptureWaker;
class CursorStreamer;
class Encoder;
class PictureFeed;
class VirtualScreen;

namespace platform {
class Network;
struct ServiceEndpoint;
}  // namespace platform

/// What a session does with the input of a touch device; its owner provides it. Called on the main
/// queue.
class DeviceInput {
 public:
  virtual ~DeviceInput() = default;
  [[nodiscard]] virtual bool enabled() const = 0;
  virtual void handle(const ScreenLink::Input& message, platform::DisplayID display) = 0;
  /// The frame of the text field that has the focus, when it lies on `display`.
  [[nodiscard]] virtual std::optional<UnitRect> focusedTextField(platform::DisplayID display) = 0;
};

/// What sessions need of the system; outlives them.
struct SessionServices {
  Queues& queues;
  platform::DesktopEnvironment& desktop;
  platform::VideoCoding& coding;
  platform::Network& network;
  DeviceInput* input = nullptr;        ///< none: input of the device is ignored
  Arrangement* arrangement = nullptr;  ///< none: every display stands right of all others
};

/// One extra screen being served: it waits for the device's hello and the user's approval, makes
/// the virtual display, captures and encodes it onto the link, keeps the link alive, measures it,
/// and tears everything down in one place when the link closes. Used once. Lives on the main queue;
/// only frames arrive elsewhere, on "tessaline.capture". Owned by whoever started it, who keeps it
/// until `onEnd`.
class Session : public std::enable_shared_from_this<Session> {
 public:
  /// `bitrate` in bit/s is that of a 1920 × 1080 picture.
  Session(SessionServices services, std::string name, std::shared_ptr<ScreenLink> link,
          int bitrate);
  /// A session with another computer's screen, which discovery found.
  static std::shared_ptr<Session> toScreen(const SessionServices& services, const std::string& name,
                                           const platform::ServiceEndpoint& screen, int bitrate);
  ~Session();

  /// Streaming began, or the device told its name.
  std::function<void()> onStateChange;
  /// The picture or the pointer moved noticeably. On any queue.
  std::function<void()> onActivity;
  /// The session is over: why, or nothing for a normal end. May drop the last reference to it.
  std::function<void(std::optional<std::string> reason)> onEnd;
  /// Asks whether the device may become a screen; the answer may take as long as a person does and
  /// is given on the main queue. Without it every device may.
  std::function<void(const Hello&, std::function<void(bool)>)> approve;

  void start();
  /// Ends politely; the session is over when `onEnd` says so.
  void stop();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] ScreenLink& link() const { return *link_; }
  [[nodiscard]] int bitrate() const { return bitrate_; }
  [[nodiscard]] bool streaming() const { return streaming_; }
  /// The picture's size in pixels, 0 × 0 before there is one.
  [[nodiscard]] PixelSize pictureSize() const { return pictureSize_; }
  /// Round trips in milliseconds, newest last, at most 300.
  [[nodiscard]] const std::vector<double>& latency() const { return latency_; }
  /// Decode times in milliseconds as the device reports them, newest last.
  [[nodiscard]] const std::vector<double>& decodeTimes() const { return decodeTimes_; }

  /// The pixels of the display that a device with this hello gets; nothing for sizes that no
  /// display can have.
  [[nodiscard]] static std::optional<PixelSize> displaySize(const Hello& hello);
  /// The encoder's bit rate for a picture of `size`.
  [[nodiscard]] static int encoderBitrate(int bitrate, PixelSize size);

 private:
  void receivedHello(const Hello& hello);
  void receivedInput(const ScreenLink::Input& message);
  void receivedProbeAck(std::uint32_t id, double decodeTime);
  void deny();
  void begin(const Hello& hello);
  void createScreen(PixelSize size, SizeMM sizeMM, bool hiDPI, int attempt);
  void findDisplay(int query);
  void startCapture();
  void captureStarted(const std::optional<std::string>& error);
  void receivedFrame(platform::CapturedFrame frame);
  void encoded(bool keyFrame);
  void sizeChanged(bool coarse);
  [[nodiscard]] bool mayCapture() const;
  void followNetwork();
  void letDecoderCatchUp(double decodeTime);
  void keepAliveTick();
  void sendProbe();
  void focusTick();
  void endWith(std::string_view reason);
  void tearDown();

  const SessionServices services_;
  std::string name_;
  const std::shared_ptr<ScreenLink> link_;
  const int bitrate_;
  PixelSize pictureSize_;
  int highestRate_ = 0;        // bit/s, of the encoder
  std::atomic<int> rate_ = 0;  // bit/s, of the encoder on a network that may carry less

  bool helloReceived_ = false;
  bool streaming_ = false;
  bool ended_ = false;
  std::optional<std::string> endReason_;

  std::unique_ptr<VirtualScreen> screen_;
  std::shared_ptr<Queue> captureQueue_;
  std::unique_ptr<platform::CaptureStream> stream_;
  const std::shared_ptr<CaptureWaker> waker_;
  std::unique_ptr<Encoder> encoder_;
  std::shared_ptr<PictureFeed> feed_;
  bool toldCoarse_ = false;  // on the coder's thread
  std::atomic<bool> decoderBehind_ = false;
  static constexpr double kNoDecodeTime = std::numeric_limits<double>::infinity();
  double fastestDecode_ = kNoDecodeTime;  // ms
  std::shared_ptr<CursorStreamer> cursor_;

  Timer keepAlive_;
  Timer focusTimer_;
  Timer catchUp_;
  std::uint32_t ticks_ = 0;
  std::map<std::uint32_t, Clock::time_point> probeSent_;
  std::uint32_t probeID_ = 0;
  std::vector<double> latency_;
  std::vector<double> decodeTimes_;
  std::optional<std::optional<UnitRect>> lastFocus_;
};

}  // namespace tessaline
