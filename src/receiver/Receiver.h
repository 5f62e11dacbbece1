#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/Network.h"
#include "platform/ServiceDiscovery.h"
#include "platform/VideoDecoding.h"
#include "receiver/PointerPlacement.h"

namespace tessaline {

class ReceiverEngine;

/// What the hello says about the screen that the stream will fill.
struct ScreenMetrics {
  PixelSize size{1920, 1080};  ///< these values: there is no screen
  PixelSize sizeMM{0, 0};      ///< 0 × 0 when the screen does not know
  int scale = 1;               ///< pixels per point, rounded
};

/// The screen role's network end: advertises this computer, accepts one stream (the last one that
/// connects wins), introduces itself, and hands on what arrives. It lives on its own queue,
/// "tessaline.recv"; its operations are called on the main queue, by its owner, the screen
/// controller. What it tells the main queue is bounded: of pointer moves, shapes and sizes only the
/// newest waits there.
class Receiver {
 public:
  /// What outlives the receiver, and `stop` until it is done.
  struct Services {
    Queues& queues;
    platform::Network& network;
    platform::ServiceDiscovery& discovery;
    platform::VideoDecoding& decoding;
  };
  struct Identity {
    std::string name;      ///< what the service is called
    std::string deviceID;  ///< shorter than 256 bytes
  };

  Receiver(Services services, Identity identity);
  /// Waits for "tessaline.recv"; no callback runs once this has returned.
  ~Receiver();

  // Set before `start`. On the main queue, unless they say otherwise.

  /// Another program has the stream's port: nobody will connect.
  std::function<void()> onPortTaken;
  /// Asked for each stream, when it is ready.
  std::function<ScreenMetrics()> screenMetrics;
  /// A stream is ready; `peer` is the other computer's address.
  std::function<void(const std::string& peer)> onConnect;
  /// The current stream ended; not for one that another replaced.
  std::function<void()> onDisconnect;
  /// A picture to decode. On "tessaline.recv", so that a busy main thread delays no picture. While
  /// a few samples are held by others nothing more is read: the sender's flow control acts.
  std::function<void(platform::VideoSample)> onSample;
  /// On "tessaline.recv": the samples so far belong to a stream that is over.
  std::function<void()> onFlush;
  std::function<void(PixelSize)> onVideoSize;
  std::function<void(std::shared_ptr<const platform::PointerImage>, PointerShape)> onCursorShape;
  /// 0…1 of the video.
  std::function<void(double x, double y, bool visible)> onCursorMove;

  /// Listens and advertises. A port that is taken costs one log line: without the stream's port
  /// nothing else starts, without the pointer's the video still works.
  void start();
  /// Ends the current stream, which `onDisconnect` then reports.
  void closeConnection();
  /// Ends everything; `done` runs on the main queue when nobody can connect any more.
  void stop(std::function<void()> done);

 private:
  const Services services_;
  const Identity identity_;
  std::shared_ptr<ReceiverEngine> engine_;  // from `start` to `stop`
};

}  // namespace tessaline
