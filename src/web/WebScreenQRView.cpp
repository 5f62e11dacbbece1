#include "web/WebScreenQRView.h"

#include <QLineEdit>
#include <QPainter>
#include <QVBoxLayout>
#include <optional>

#include "shell/ButtonView.h"
#include "shell/TextView.h"
#include "shell/ViewSymbols.h"
#include "web/qr/QrCode.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kCodeSize = 220;
constexpr int kCodePadding = 10;
constexpr double kCodeRadius = 14;
constexpr int kQuietModules = 1;  // of the code's own size, the padding comes on top
constexpr int kTitleSize = 20;
constexpr int kSideMargin = 14;
constexpr int kLockSize = 15;
constexpr int kLinkSize = 12;
constexpr int kSmallestLinkSize = 9;  // a long link shrinks before it is cut

TextView* line(const QString& words, int pixels, Tone tone, QFont::Weight weight = QFont::Normal) {
  auto* view = new TextView(words, {pixels, weight, tone});
  view->setAlignment(Qt::AlignCenter);
  return view;
}

}  // namespace

/// The code in black on white, in light and in dark windows alike: readers want it so.
class WebScreenQRView::CodeView final : public QWidget {
 public:
  CodeView() { setFixedSize(kCodeSize + 2 * kCodePadding, kCodeSize + 2 * kCodePadding); }
  void show(const std::string& link) {
    code_ = QrCode::encode(link);
    setAccessibleName("QR code of the link");
    setAccessibleDescription(ViewStyle::text(link));
    update();
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ViewStyle::ink(palette(), 0.1), 1));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCodeRadius,
                            kCodeRadius);
    if (!code_) return;
    const int side = code_->width() + 2 * kQuietModules;
    QImage modules(side, side, QImage::Format_Grayscale8);
    modules.fill(Qt::white);
    for (int y = 0; y < code_->width(); ++y) {
      for (int x = 0; x < code_->width(); ++x) {
        if (code_->dark(x, y)) {
          modules.setPixel(x + kQuietModules, y + kQuietModules, qRgb(0, 0, 0));
        }
      }
    }
    // Every module keeps hard edges.
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform, false);
    painter.drawImage(QRect(kCodePadding, kCodePadding, kCodeSize, kCodeSize), modules);
  }

 private:
  std::optional<QrCode> code_;
};

class WebScreenQRView::LockView final : public QWidget {
 public:
  LockView() { setFixedSize(kLockSize, kLockSize); }
  void setEncrypted(bool encrypted) {
    encrypted_ = encrypted;
    update();
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    ViewSymbols::paint(painter, encrypted_ ? "lock.fill" : "lock.open", rect(),
                       ViewStyle::colour(palette(), encrypted_ ? Tone::green : Tone::orange));
  }

 private:
  bool encrypted_ = false;
};

WebScreenQRView::WebScreenQRView(WebScreenServer& server)
    : server_(server),
      code_(new CodeView),
      link_(new QLineEdit),
      lock_(new LockView),
      security_(new TextView({}, {ViewStyle::kSmallSize, QFont::Medium})) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kSideMargin, 12, kSideMargin, 8);
  column->setSpacing(5);
  column->addWidget(line("Use any device as a screen", kTitleSize, Tone::primary, QFont::Bold));
  column->addWidget(
      line("On a tablet, phone or another computer on the same Wi-Fi, scan this code "
           "or open the link in Chrome or Safari.",
           ViewStyle::kDetailSize, Tone::secondary));
  column->addStretch();
  column->addWidget(code_, 0, Qt::AlignHCenter);
  column->addStretch();

  link_->setReadOnly(true);
  link_->setFrame(false);
  link_->setAlignment(Qt::AlignCenter);
  link_->setAccessibleName("Link");
  link_->setStyleSheet("background: transparent");
  column->addWidget(link_);
  column->addWidget(
      line("Then tap the page once to go full screen. You'll be asked to allow the "
           "device on this Mac.",
           ViewStyle::kSmallSize, Tone::secondary));

  auto* safety = new QHBoxLayout;
  safety->setSpacing(6);
  safety->addStretch();
  safety->addWidget(lock_);
  safety->addWidget(security_);
  safety->addStretch();
  security_->setWordWrap(false);
  column->addLayout(safety);

  auto* renew = new ButtonView("New Link");
  const QString help =
      "The current link and QR code stop working, and connected devices are disconnected.";
  renew->setToolTip(help);
  renew->setAccessibleDescription(help);
  QObject::connect(renew, &QPushButton::clicked, this, [this] { server_.renewKey(); });
  column->addWidget(renew, 0, Qt::AlignHCenter);
  renew->setFocus();

  changes_ = server_.observe([this] { redraw(); });
  redraw();
}

void WebScreenQRView::redraw() {
  const std::string url = server_.url();
  const bool encrypted = server_.encrypted();
  code_->show(url);
  if (const QString words = ViewStyle::text(url); words != link_->text()) {
    int size = kLinkSize;
    const auto width = [&] {
      return QFontMetrics(ViewStyle::font(size, QFont::DemiBold)).horizontalAdvance(words);
    };
    while (size > kSmallestLinkSize && width() > kCodeSize + 100) --size;
    link_->setFont(ViewStyle::font(size, QFont::DemiBold));
    link_->setText(words);
    link_->setCursorPosition(0);
  }
  lock_->setEncrypted(encrypted);
  security_->setTone(encrypted ? Tone::green : Tone::orange);
  security_->setWords(encrypted ? "Encrypted connection"
                                : "Not encrypted yet: use it on a Wi-Fi you trust");
}

}  // namespace tessaline
