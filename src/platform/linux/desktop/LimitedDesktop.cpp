#include "platform/linux/desktop/LimitedDesktop.h"

#include <utility>

#include "platform/linux/desktop/LinuxPrivileges.h"

namespace tessaline::platform {
namespace {

class NoPointer final : public PointerSource {
 public:
  std::optional<PointerLocation> location() const override { return std::nullopt; }
  std::shared_ptr<const PointerImage> image() const override { return nullptr; }
  std::optional<PixelRect> bounds(DisplayID) const override { return std::nullopt; }
};

class NoInput final : public InputEvents {
 public:
  bool trusted(bool) override { return false; }
  bool postTap(PointerLocation, int) override { return false; }
  void postMove(PointerLocation) override {}
  void postButton(MouseButton, bool, PointerLocation, int) override {}
  void postScroll(std::int32_t, std::int32_t) override {}
  void postKey(std::uint16_t, bool) override {}
  void postShortcut(Shortcut) override {}
  void postText(std::string) override {}
  std::size_t pending() const override { return 0; }
};

class NoAccessibility final : public Accessibility {
 public:
  std::optional<FocusedElement> focusedElement() const override { return std::nullopt; }
};

class LimitedDesktop final : public DesktopEnvironment {
 public:
  explicit LimitedDesktop(std::string limitation) : limitation_(std::move(limitation)) {}

  std::string kind() const override { return "limited"; }
  std::optional<std::string> limitation() const override { return limitation_; }
  std::unique_ptr<VirtualDisplay> createVirtualDisplay(const VirtualDisplayDescriptor&) override {
    return nullptr;
  }
  Result<std::vector<DisplayInfo>> shareableDisplays() override { return Failure{limitation_}; }
  std::unique_ptr<CaptureStream> createCaptureStream(DisplayID, const CaptureConfiguration&,
                                                     std::shared_ptr<Queue>,
                                                     CaptureStream::Callbacks) override {
    return nullptr;
  }
  std::shared_ptr<PointerSource> pointer() override { return pointer_; }
  InputEvents& inputEvents() override { return input_; }
  Accessibility& accessibility() override { return accessibility_; }
  ScreenCaptureAccess& captureAccess() override { return captureAccess_; }
  std::unique_ptr<HotKeyRegistration> registerHotKey(const HotKey&,
                                                     std::function<void()>) override {
    return std::make_unique<HotKeyRegistration>();  // there is nothing to start or stop
  }

 private:
  const std::string limitation_;
  const std::shared_ptr<NoPointer> pointer_ = std::make_shared<NoPointer>();
  NoInput input_;
  NoAccessibility accessibility_;
  FreeCaptureAccess captureAccess_;
};

}  // namespace

std::unique_ptr<DesktopEnvironment> createLimitedDesktop(std::string limitation) {
  return std::make_unique<LimitedDesktop>(std::move(limitation));
}

}  // namespace tessaline::platform
