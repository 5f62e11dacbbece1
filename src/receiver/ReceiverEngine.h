#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/LimitedLog.h"
#include "receiver/MainMailbox.h"
#include "receiver/Receiver.h"
#include "receiver/StreamReader.h"

namespace tessaline {

/// What the receiver does on its queue, "tessaline.recv": listeners, the current stream, the
/// watchdog, the pointer's datagrams. Owned by the receiver and by the work that runs; everything
/// is called on that queue, unless it says otherwise.
class ReceiverEngine : public std::enable_shared_from_this<ReceiverEngine> {
 public:
  /// As the receiver's members of the same names.
  struct Callbacks {
    std::function<void()> onPortTaken;
    std::function<ScreenMetrics()> screenMetrics;
    std::function<void(const std::string&)> onConnect;
    std::function<void()> onDisconnect;
    std::function<void(platform::VideoSample)> onSample;
    std::function<void()> onFlush;
    std::function<void(PixelSize)> onVideoSize;
    std::function<void(std::shared_ptr<const platform::PointerImage>, PointerShape)> onCursorShape;
    std::function<void(double, double, bool)> onCursorMove;
  };

  ReceiverEngine(const Receiver::Services& services, Receiver::Identity identity,
                 Callbacks callbacks);

  void start();
  void closeConnection();
  void stop();
  /// On the main queue: no callback runs there any more.
  void silence() { silenced_ = true; }
  [[nodiscard]] Queue& queue() { return *queue_; }

 private:
  void accept(std::shared_ptr<platform::Connection> connection);
  void stateChanged(platform::ConnectionState state);
  void introduce(std::shared_ptr<StreamReader> stream);
  void sendHello(const ScreenMetrics& metrics);
  void endStream();

  void handle(const SharedBytes& message);
  void handleParams(ByteView payload);
  void handleFrame(const SharedBytes& message);
  void handleCursorShape(ByteView payload);
  void answerProbe(ByteView payload);

  void checkSilence();
  void startCursorChannel();
  void handleDatagram(ByteView datagram);

  /// Puts news for the main queue into the mailbox.
  template <typename Change>
  void tellMain(const Change& change);
  void toMain(std::function<void(const Callbacks&)> work);

  const Receiver::Services services_;
  const Receiver::Identity identity_;
  const Callbacks callbacks_;
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> queue_;
  bool silenced_ = false;  // main queue
  MainMailbox mailbox_;

  std::unique_ptr<platform::Listener> listener_;
  std::unique_ptr<platform::Listener> cursorListener_;
  std::unique_ptr<platform::ServiceAdvertisement> advertisement_;
  Timer watchdog_;
  std::shared_ptr<StreamReader> stream_;                 // the current one
  std::shared_ptr<const platform::VideoFormat> format_;  // of the last parameter sets
  std::uint16_t cursorSeq_ = 0;                          // 0: any number is accepted
  LimitedLog silence_;                                   // strangers can be silent all day
  int unsentAnswers_ = 0;                                // to probes of the current stream
};

}  // namespace tessaline
