#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "platform/ControlEndpoint.h"
#include "web/ApprovedDevices.h"

namespace tessaline {

/// What other programs of the user can ask of the running application: one table of commands, each
/// with one text for an answer. It knows nothing of how requests travel. Lives on the main queue,
/// and so do its handlers; owned by the process entry.
class ControlBus {
 public:
  /// How a stream fares. Times in milliseconds, of the last five minutes; 0 while unknown.
  struct Measurements {
    double latencyMedian = 0;
    double latency95th = 0;
    double decodeTime = 0;  ///< median
    // Since the session began.
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
    std::uint64_t droppedMessages = 0;
  };
  /// An extra screen that is being served, or is about to be.
  struct Screen {
    std::string name;
    bool streaming = false;
    int width = 0;  ///< pixels, 0 before there is a picture
    int height = 0;
    Measurements measurements = {};
  };
  /// What the main role serves.
  struct Service {
    std::string link;
    std::string key;
    bool encrypted = false;
    std::vector<Screen> screens;
    std::vector<std::string> computers;  ///< seen on the network, ready to be screens
    std::string statusText;              ///< the status menu's header
  };

  /// The main role, as commands steer it.
  class Main {
   public:
    virtual ~Main() = default;
    [[nodiscard]] virtual Service service() const = 0;
    [[nodiscard]] virtual ApprovedDevices& approvedDevices() = 0;
    /// Starts streaming to the computer of that name, or to the one that the status menu would
    /// take; answers its name.
    [[nodiscard]] virtual Result<std::string> startScreen(const std::string& name) = 0;
    /// Ends every session.
    virtual void stopScreens() = 0;
    /// Bit/s handed to new sessions.
    [[nodiscard]] virtual int bitrate() const = 0;
    virtual void setBitrate(int bitsPerSecond) = 0;
  };

  /// The application, as commands see it; outlives the bus.
  class Application {
   public:
    virtual ~Application() = default;
    /// "main", "screen", or "none" while the chooser asks.
    [[nodiscard]] virtual std::string_view role() const = 0;
    /// Nothing outside the main role.
    [[nodiscard]] virtual Main* mainRole() = 0;
    /// What the screen role says of itself; empty outside it.
    [[nodiscard]] virtual std::string screenStatus() const = 0;
    [[nodiscard]] virtual bool activate() = 0;
    virtual void switchMode() = 0;
    virtual void quit() = 0;
  };

  explicit ControlBus(Application& application) : application_(application) {}

  /// The commands, to be served by an endpoint that does not outlive this.
  [[nodiscard]] std::vector<platform::ControlRequest> requests();

  /// Everything at once, as a JSON object in one line.
  [[nodiscard]] std::string status() const;

 private:
  [[nodiscard]] Result<std::string> answerPrompt(const std::string& device, bool allow);
  [[nodiscard]] Result<std::string> bitrate(const std::string& wanted);

  Application& application_;
};

}  // namespace tessaline
