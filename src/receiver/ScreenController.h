#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/Observers.h"
#include "base/UserDefaults.h"
#include "platform/Activity.h"
#include "platform/Workspace.h"
#include "receiver/HomeScreen.h"
#include "receiver/Receiver.h"
#include "receiver/VideoDisplay.h"
#include "shell/KeepAwake.h"

namespace tessaline {

/// The screen role: waits for a main computer with the home window open, and shows its stream in
/// the full window while there is one. Lives on the main queue; owned by the application shell,
/// which creates one and calls `start` once.
class ScreenController {
 public:
  /// The role's two windows, provided by the application shell; outlives the controller. Called on
  /// the main queue.
  class Windows {
   public:
    virtual ~Windows() = default;

    /// The home window, 500 × 600, titled "Tessaline"; made and centred on first use. Shows it in
    /// front of everything, ready for the keyboard.
    virtual void showHome(const HomeScreen& content) = 0;
    /// Changes what it shows, whether or not anybody sees it.
    virtual void updateHome(const HomeScreen& content) = 0;
    virtual void hideHome() = 0;

    /// The full window: black, without a frame, over all of the main screen and its panels, in
    /// front of everything and with the keyboard, the system's pointer hidden. Again while it is
    /// shown: fits it to the main screen.
    virtual void showFull() = 0;
    virtual void hideFull() = 0;
    /// Somebody pressed Esc in the full window; set by the controller.
    std::function<void()> onEscape;

    /// Where the full window shows pictures; shared, as pictures come from the decoder's thread.
    [[nodiscard]] virtual std::shared_ptr<VideoDisplay> videoDisplay() = 0;
    /// Pixels of the full window's picture area.
    [[nodiscard]] virtual PixelSize viewSize() = 0;
    /// The pointer's image, stretched to where `placePointer` puts it.
    virtual void setPointerImage(std::shared_ptr<const platform::PointerImage> image) = 0;
    /// In pixels of the picture area; nothing hides the pointer.
    virtual void placePointer(std::optional<ViewRect> frame) = 0;

    /// The screen that the full window covers: the main one.
    [[nodiscard]] virtual ScreenMetrics screenMetrics() = 0;
  };
  struct Services {
    Receiver::Services receiver;
    platform::Workspace& workspace;
    Windows& windows;
    bool mainModeSupported = true;  ///< this computer could be the main one
  };

  ScreenController(Services services, UserDefaults& defaults);
  ~ScreenController();

  /// The user wants this computer to be the main one; set by the shell.
  std::function<void()> onSwitchMode;

  void start();
  /// Shows the home window again: the user started the application once more.
  void reopen();
  /// Ends the stream and the advertisement, takes the windows away, then calls `done`, which may
  /// destroy the controller.
  void quit(std::function<void()> done);

  void toggleLogin(bool on);
  void toggleAwake(bool on);
  void switchRole();

  /// The home window's status line.
  [[nodiscard]] const std::string& status() const { return status_; }
  /// A stream is being shown, or about to be.
  [[nodiscard]] bool live() const { return activity_ != nullptr; }
  /// `status` or `live` has changed.
  [[nodiscard]] Subscription observe(Observers::Observer observer);

 private:
  void wire();
  void connected();
  void disconnected();
  void placeCursor();
  void setStatus(std::string status);
  [[nodiscard]] HomeScreen home();

  const Services services_;
  UserDefaults& defaults_;
  KeepAwake keepAwake_;
  std::string status_;
  PixelSize videoSize_;
  std::optional<PointerShape> pointer_;  // once there is an image
  double cursorX_ = 0;                   // 0…1 of the video
  double cursorY_ = 0;
  bool cursorVisible_ = false;
  std::unique_ptr<platform::Activity> activity_;  // while a stream is shown
  Observers observers_;
  // Shared with the receiver's queue, which feeds it; ends with the last of its samples.
  std::shared_ptr<platform::DecompressionSession> decoder_;
  std::unique_ptr<Receiver> receiver_;
};

}  // namespace tessaline
