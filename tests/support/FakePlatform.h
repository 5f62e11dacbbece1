#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/DesktopEnvironment.h"
#include "platform/VideoCoding.h"
#include "platform/Workspace.h"

namespace tessaline::test {

/// A pointer that stands where the test puts it.
class FakePointer final : public platform::PointerSource {
 public:
  std::optional<platform::PointerLocation> where =
      platform::PointerLocation();  // nothing: not told
  std::shared_ptr<const platform::PointerImage> picture;
  PixelRect display{1000, 0, 800, 600};
  bool tells = false;           // of moves
  std::function<void()> moved;  // while somebody watches
  mutable int asked = 0;        // for the location

  std::optional<platform::PointerLocation> location() const override {
    ++asked;
    return where;
  }
  std::shared_ptr<const platform::PointerImage> image() const override { return picture; }
  std::optional<PixelRect> bounds(platform::DisplayID) const override { return display; }
  std::shared_ptr<void> watch(std::function<void()> watcher) override {
    if (!tells) return nullptr;
    moved = std::move(watcher);
    return {this, [](FakePointer* pointer) { pointer->moved = nullptr; }};
  }
};

/// Writes down what is posted, one line for each event: "move @30,40", "left down 1 @30,40".
class FakeInputEvents final : public platform::InputEvents {
 public:
  bool allowed = true;
  int asked = 0;  // how often the user was asked to allow it
  std::size_t waiting = 0;
  std::vector<std::string> events;
  std::optional<platform::PointerLocation>* pointer = nullptr;  // that moves, if any

  bool trusted(bool ask) override {
    if (ask && !allowed) ++asked;
    return allowed;
  }
  bool postTap(platform::PointerLocation, int) override { return false; }
  void postMove(platform::PointerLocation to) override {
    events.push_back("move" + place(to));
    if (pointer) *pointer = to;
  }
  void postButton(platform::MouseButton button, bool down, platform::PointerLocation at,
                  int clickState) override {
    events.push_back(std::string(button == platform::MouseButton::left ? "left" : "right") +
                     (down ? " down " : " up ") + std::to_string(clickState) + place(at));
  }
  void postScroll(std::int32_t dx, std::int32_t dy) override {
    events.push_back("scroll " + std::to_string(dx) + " " + std::to_string(dy));
  }
  void postKey(std::uint16_t virtualKey, bool down) override {
    events.push_back("key " + std::to_string(virtualKey) + (down ? " down" : " up"));
  }
  void postShortcut(platform::Shortcut shortcut) override {
    events.push_back(shortcut == platform::Shortcut::zoomIn ? "zoom in" : "zoom out");
  }
  void postText(std::string text) override { events.push_back("text " + text); }
  std::size_t pending() const override { return waiting; }

 private:
  static std::string place(platform::PointerLocation at) {
    return " @" + std::to_string(static_cast<int>(at.x)) + "," +
           std::to_string(static_cast<int>(at.y));
  }
};

class FakeAccessibility final : public platform::Accessibility {
 public:
  std::optional<platform::FocusedElement> focusedElement() const override { return {}; }
};

/// The services of a desktop that the test looks at: what was opened, whether the application opens
/// at login, which activities last.
class FakeWorkspace final : public platform::Workspace {
 public:
  struct Running final : platform::Activity {
    FakeWorkspace* workspace = nullptr;
    ~Running() override { --workspace->activities; }
  };

  std::vector<std::string> opened;
  bool atLogin = false;
  int activities = 0;  // that last now

  bool open(const std::string& url) override {
    opened.push_back(url);
    return true;
  }
  bool relaunch() override { return true; }
  std::string computerName() const override { return "Studio"; }
  bool opensAtLogin(std::string_view) const override { return atLogin; }
  void setOpensAtLogin(std::string_view, bool on) override { atLogin = on; }
  std::unique_ptr<platform::Activity> beginActivity(platform::ActivityOptions,
                                                    const std::string&) override {
    ++activities;
    auto made = std::make_unique<Running>();
    made->workspace = this;
    return made;
  }
};

/// A system whose rule about capturing the screen the test sets.
class FakeCaptureAccess final : public platform::ScreenCaptureAccess {
 public:
  struct Attempt final : Trial {
    explicit Attempt(int& count) : trials(count) { ++trials; }
    ~Attempt() override { --trials; }
    int& trials;
  };
  bool allowed = true;
  int trials = 0;  // that last now

  bool granted() override { return allowed; }
  void request() override {}
  std::unique_ptr<Trial> tryCapture() override { return std::make_unique<Attempt>(trials); }
  void revealApplication() override {}
};

/// A desktop whose displays and captures do what the test says.
class FakeDesktop final : public platform::DesktopEnvironment {
 public:
  struct Stream final : platform::CaptureStream {
    Callbacks callbacks;
    std::function<void(std::optional<std::string>)> started;
    int wakes = 0;
    FakeDesktop* desktop = nullptr;

    ~Stream() override { desktop->stream = nullptr; }
    void start(std::function<void(std::optional<std::string>)> done) override {
      started = std::move(done);
    }
    void stop() override {}
    void wake() override { ++wakes; }
  };
  struct Display final : platform::VirtualDisplay {
    FakeDesktop* desktop = nullptr;
    platform::DisplayID id = 0;
    ~Display() override { std::erase(desktop->displays, id); }
    platform::DisplayID displayID() const override { return id; }
    State state() const override { return desktop->state; }
    bool apply(const platform::VirtualDisplaySettings&) override {
      desktop->displays.push_back(id);
      return true;
    }
  };

  int refusals = 0;  // how many displays are refused before one is made
  int queriesUntilListed = 0;
  platform::VirtualDisplay::State state = platform::VirtualDisplay::State::coming;
  std::optional<PixelSize> actualSize;  // of displays, where it is not the one asked for
  int attempts = 0;
  platform::DisplayID nextID = 41;
  platform::VirtualDisplayDescriptor descriptor;
  platform::CaptureConfiguration configuration;
  std::vector<platform::DisplayID> displays;  // those that exist
  Stream* stream = nullptr;
  std::shared_ptr<FakePointer> fakePointer = std::make_shared<FakePointer>();
  FakeInputEvents input;
  FakeAccessibility elements;
  FakeCaptureAccess access;

  std::string kind() const override { return "fake"; }
  std::unique_ptr<platform::VirtualDisplay> createVirtualDisplay(
      const platform::VirtualDisplayDescriptor& wanted) override {
    ++attempts;
    if (refusals > 0) {
      --refusals;
      return nullptr;
    }
    descriptor = wanted;
    auto display = std::make_unique<Display>();
    display->desktop = this;
    display->id = ++nextID;
    return display;
  }
  Result<std::vector<platform::DisplayInfo>> shareableDisplays() override {
    if (queriesUntilListed-- > 0) return Failure{"not yet"};
    std::vector<platform::DisplayInfo> listed;
    const PixelSize asked{static_cast<int>(descriptor.maxPixelsWide),
                          static_cast<int>(descriptor.maxPixelsHigh)};
    for (const auto id : displays) {
      listed.push_back({id, fakePointer->display, actualSize.value_or(asked)});
    }
    return listed;
  }
  std::unique_ptr<platform::CaptureStream> createCaptureStream(
      platform::DisplayID, const platform::CaptureConfiguration& wanted, std::shared_ptr<Queue>,
      platform::CaptureStream::Callbacks callbacks) override {
    configuration = wanted;
    auto made = std::make_unique<Stream>();
    made->callbacks = std::move(callbacks);
    made->desktop = this;
    stream = made.get();
    return made;
  }
  std::shared_ptr<platform::PointerSource> pointer() override { return fakePointer; }
  platform::InputEvents& inputEvents() override { return input; }
  platform::Accessibility& accessibility() override { return elements; }
  platform::ScreenCaptureAccess& captureAccess() override { return access; }
  std::unique_ptr<platform::HotKeyRegistration> registerHotKey(const platform::HotKey&,
                                                               std::function<void()>) override {
    return nullptr;
  }
};

/// A coder that "encodes" a picture into a few bytes when the test asks for the output.
class FakeCoding final : public platform::VideoCoding {
 public:
  struct Coder final : platform::CompressionSession {
    Callbacks callbacks;
    FakeCoding* coding = nullptr;
    ~Coder() override { coding->coder = nullptr; }
    void encode(std::shared_ptr<const platform::PixelBuffer>, Clock::time_point,
                platform::FrameNotes notes) override {
      coding->submitted.push_back(notes.keyFrame);
      coding->refinements += notes.refine ? 1 : 0;
      coding->coarse = notes.coarse;
      ++coding->pending;
    }
    void setBitRate(int) override {}
    int pendingFrames() const override { return coding->pending; }
  };

  bool failing = false;
  int pending = 0;
  std::vector<bool> submitted;  // whether each picture was to be a key frame
  int refinements = 0;          // pictures submitted to be made sharper
  bool coarse = false;          // what the last picture may be
  platform::CompressionOptions options;
  Coder* coder = nullptr;

  Result<std::unique_ptr<platform::CompressionSession>> createCompressionSession(
      const platform::CompressionOptions& wanted,
      platform::CompressionSession::Callbacks callbacks) override {
    if (failing) return Failure{"-12903"};
    options = wanted;
    auto made = std::make_unique<Coder>();
    made->callbacks = std::move(callbacks);
    made->coding = this;
    coder = made.get();
    return std::unique_ptr<platform::CompressionSession>(std::move(made));
  }
  Bytes encodePng(const platform::PointerImage& image) override { return image.rgba; }

  /// Delivers the output of the oldest submitted picture.
  void output(bool keyFrame, Bytes data = {0, 0, 0, 1, 0x65}) {
    --pending;
    platform::CodedFrame frame;
    frame.keyFrame = keyFrame;
    frame.coarse = coarse;
    if (keyFrame) frame.parameterSets = {{0x67, 100, 12, 40}, {0x68, 1}};
    frame.data = std::make_shared<const Bytes>(std::move(data));
    coder->callbacks.onOutput(frame);
  }
};

}  // namespace tessaline::test
