#pragma once

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
  struct Screen {
    std::string name;
    bool streaming = false;
    int width = 0;  ///< pixels, 0 before there is a picture
    int height = 0;
  };
  /// What the main role serves.
  struct Service {
    std::string link;
    std::string key;
    bool encrypted = false;
    std::vector<Screen> screens;
  };

  /// The application, as commands see it; outlives the bus.
  class Application {
   public:
    virtual ~Application() = default;
    /// "main", "screen", or "none" while the chooser asks.
    [[nodiscard]] virtual std::string_view role() const = 0;
    /// Nothing outside the main role.
    [[nodiscard]] virtual std::optional<Service> service() const = 0;
    /// Nothing outside the main role.
    [[nodiscard]] virtual ApprovedDevices* approvedDevices() = 0;
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
  [[nodiscard]] Result<std::string> link() const;
  [[nodiscard]] Result<std::string> answerPrompt(const std::string& device, bool allow);

  Application& application_;
};

}  // namespace tessaline
