#include "control/SetupAssistantWindow.h"

#include <QVBoxLayout>

#include "shell/BrandHeaderView.h"
#include "shell/ButtonView.h"
#include "shell/CheckView.h"
#include "shell/PanelView.h"
#include "shell/StepView.h"
#include "shell/TextView.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr QSize kContentSize(520, 720);
constexpr int kPanelSpacing = 8;
constexpr int kInterval = 1000;  // ms; permissions change without telling

StepView::Content stepContent(const SetupAssistant::Step& step) {
  StepView::Content content{
      ViewStyle::text(step.title), ViewStyle::text(step.text), step.done, step.busy, {}};
  for (const auto& [title, action] : step.buttons) {
    content.buttons.push_back({ViewStyle::text(title), action});
  }
  return content;
}

}  // namespace

SetupAssistantWindow::SetupAssistantWindow(Provider provider)
    : CentredWindow(kContentSize), provider_(std::move(provider)), content_(provider_()) {
  header_ = new BrandHeaderView({}, {});
  page().addWidget(header_);
  auto* column = new QVBoxLayout;
  column->setContentsMargins(ViewStyle::kMargin, 4, ViewStyle::kMargin, 14);
  column->setSpacing(kPanelSpacing);
  page().addLayout(column, 1);
  stepColumn_ = new QVBoxLayout;
  stepColumn_->setSpacing(kPanelSpacing);
  column->addLayout(stepColumn_);
  renderSteps();  // first, as the Tab key goes from top to bottom
  column->addStretch();
  addSwitchRole(*column);
  addFoot(*column);
  render();
}

ButtonView* SetupAssistantWindow::button(SetupAssistant::Button SetupAssistant::*which,
                                         bool primary) {
  auto* view = new ButtonView(ViewStyle::text((content_.*which).title),
                              primary ? ButtonView::Kind::primary : ButtonView::Kind::plain);
  QObject::connect(view, &QPushButton::clicked, this, [this, which] {
    const auto action = (content_.*which).action;  // may close this window
    if (action) action();
  });
  return view;
}

void SetupAssistantWindow::addSwitchRole(QVBoxLayout& column) {
  auto* panel = new PanelView;
  auto* row = new QHBoxLayout;
  row->setSpacing(10);
  switchQuestion_ = new TextView({}, {ViewStyle::kDetailSize, QFont::Normal, Tone::secondary});
  row->addWidget(switchQuestion_, 1);
  row->addWidget(button(&SetupAssistant::switchRole, false));
  panel->column().addLayout(row);
  column.addWidget(panel);
}

void SetupAssistantWindow::addFoot(QVBoxLayout& column) {
  openAtLogin_ = new CheckView(ViewStyle::text(content_.openAtLoginTitle));
  QObject::connect(openAtLogin_, &QCheckBox::clicked, this, [this](bool on) {
    const auto set = content_.setOpensAtLogin;
    if (set) set(on);
  });
  auto* row = new QHBoxLayout;
  row->setContentsMargins(2, 6, 0, 0);
  row->addWidget(openAtLogin_);
  row->addStretch();
  done_ = button(&SetupAssistant::done, true);
  row->addWidget(done_);
  column.addLayout(row);
}

void SetupAssistantWindow::refresh() {
  if (!isVisible()) return;
  content_ = provider_();
  render();
}

void SetupAssistantWindow::render() {
  header_->setTitle(ViewStyle::text(content_.title));
  header_->setLine(ViewStyle::text(content_.line));
  renderSteps();
  openAtLogin_->setChecked(content_.opensAtLogin);
  switchQuestion_->setWords(ViewStyle::text(content_.switchQuestion));
}

void SetupAssistantWindow::renderSteps() {
  while (steps_.size() > content_.steps.size()) {
    steps_.back()->parentWidget()->deleteLater();
    steps_.pop_back();
  }
  for (std::size_t i = 0; i < content_.steps.size(); ++i) {
    const auto content = stepContent(content_.steps[i]);
    if (i < steps_.size()) {
      steps_[i]->setContent(content);
      continue;
    }
    auto* panel = new PanelView;
    steps_.push_back(new StepView(static_cast<int>(i) + 1, content));
    panel->column().addWidget(steps_.back());
    stepColumn_->addWidget(panel);
  }
}

void SetupAssistantWindow::showEvent(QShowEvent* event) {
  CentredWindow::showEvent(event);
  refresh();
  // Whoever presses Return on a fresh window does not mean to give up the main role.
  done_->setFocus();
  timer_.start(kInterval, this);
}

void SetupAssistantWindow::hideEvent(QHideEvent* event) {
  CentredWindow::hideEvent(event);
  timer_.stop();
}

void SetupAssistantWindow::timerEvent(QTimerEvent* /*event*/) {
  refresh();
}

}  // namespace tessaline
