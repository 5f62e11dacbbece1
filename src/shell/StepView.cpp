#include "shell/StepView.h"

#include <QHBoxLayout>
#include <QPainter>
#include <algorithm>

#include "shell/ButtonView.h"
#include "shell/IndicatorView.h"
#include "shell/TextView.h"
#include "shell/ViewStyle.h"
#include "shell/ViewSymbols.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kMarkSize = 28;
constexpr int kMarkGap = 12;
constexpr QSize kBusySize(16, 16);
constexpr int kLineSpacing = 3;
constexpr int kButtonSpacing = 6;

}  // namespace

/// The number, or the check mark once the step is done.
class StepView::MarkView final : public QWidget {
 public:
  explicit MarkView(int number) : number_(number) { setFixedSize(kMarkSize, kMarkSize); }
  void setDone(bool done) {
    if (std::exchange(done_, done) != done) update();
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = QRectF(rect()).adjusted(1, 1, -1, -1);
    painter.setPen(Qt::NoPen);
    if (done_) {
      painter.setBrush(ViewStyle::colour(palette(), Tone::green));
      painter.drawEllipse(area);
      ViewSymbols::paint(painter, "checkmark", area.adjusted(5, 5, -5, -5),
                         ViewStyle::dark(palette()) ? Qt::black : Qt::white);
      return;
    }
    painter.setBrush(ViewStyle::gradient(area));
    painter.drawEllipse(area);
    painter.setPen(ViewStyle::onGradient());
    painter.setFont(ViewStyle::font(14, QFont::Bold));
    painter.drawText(area, Qt::AlignCenter, QString::number(number_));
  }

 private:
  const int number_;
  bool done_ = false;
};

StepView::StepView(int number, const Content& content)
    : number_(number),
      mark_(new MarkView(number)),
      title_(new TextView({}, {ViewStyle::kBodySize + 1, QFont::DemiBold})),
      text_(new TextView({}, {ViewStyle::kDetailSize, QFont::Normal, Tone::secondary})),
      busy_(new IndicatorView(IndicatorView::Kind::spinner, kBusySize, Tone::coral)),
      buttonRow_(new QWidget) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(kMarkGap);
  row->addWidget(mark_, 0, Qt::AlignTop);
  auto* column = new QVBoxLayout;
  column->setSpacing(kLineSpacing);
  auto* line = new QHBoxLayout;
  line->setSpacing(8);
  line->addWidget(title_, 1);
  line->addWidget(busy_, 0, Qt::AlignVCenter);
  column->addLayout(line);
  column->addWidget(text_);
  auto* buttons = new QVBoxLayout(buttonRow_);
  buttons->setContentsMargins(0, 4, 0, 0);
  buttons->setSpacing(kButtonSpacing);
  column->addWidget(buttonRow_);
  row->addLayout(column, 1);
  busy_->setAccessibleName("Busy");
  buttonRow_->hide();
  setContent(content);
}

void StepView::setContent(const Content& content) {
  mark_->setDone(content.done);
  title_->setWords(content.title);
  text_->setWords(content.text);
  text_->setVisible(!content.text.isEmpty());
  busy_->setVisible(content.busy);
  setAccessibleName(QString("%1. %2%3")
                        .arg(number_)
                        .arg(content.title, content.done ? QString(" (done)") : QString()));
  const auto sameTitle = [](const Button& a, const Button& b) { return a.title == b.title; };
  const bool same = std::equal(buttons_.begin(), buttons_.end(), content.buttons.begin(),
                               content.buttons.end(), sameTitle);
  buttons_ = content.buttons;
  if (!same) makeButtons(content.buttons);
}

void StepView::makeButtons(const std::vector<Button>& buttons) {
  for (auto* old : buttonRow_->findChildren<QPushButton*>()) {
    // One of them may be what is being clicked right now.
    old->hide();
    old->setParent(nullptr);
    old->deleteLater();
  }
  QWidget* before = busy_;
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    auto* button = new ButtonView(buttons[i].title);
    button->setToolTip(buttons[i].title);
    QObject::connect(button, &QPushButton::clicked, this, [this, i] {
      if (i >= buttons_.size()) return;
      const auto action = buttons_[i].action;  // it may change what is shown
      if (action) action();
    });
    buttonRow_->layout()->addWidget(button);
    buttonRow_->layout()->setAlignment(button, Qt::AlignLeft);
    // Else a later button would be the window's last for the Tab key.
    setTabOrder(before, button);
    before = button;
  }
  buttonRow_->setVisible(!buttons.empty());
}

}  // namespace tessaline
