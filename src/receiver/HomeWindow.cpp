#include "receiver/HomeWindow.h"

#include <QVBoxLayout>

#include "shell/BrandHeaderView.h"
#include "shell/ButtonView.h"
#include "shell/CheckView.h"
#include "shell/IndicatorView.h"
#include "shell/PanelView.h"
#include "shell/StepView.h"
#include "shell/TextView.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr QSize kContentSize(500, 600);
constexpr QSize kPulseSize(16, 16);
constexpr int kStatusSize = 15;
constexpr int kPanelSpacing = 8;
constexpr int kStepSpacing = 14;

StepView::Content stepContent(const HomeScreen::Step& step) {
  return {ViewStyle::text(step.title), ViewStyle::text(step.text), false, false, {}};
}

}  // namespace

HomeWindow::HomeWindow(const HomeScreen& content) : CentredWindow(kContentSize), content_(content) {
  header_ = new BrandHeaderView({}, {});
  page().addWidget(header_);
  auto* column = new QVBoxLayout;
  column->setContentsMargins(ViewStyle::kMargin, 8, ViewStyle::kMargin, 12);
  column->setSpacing(0);
  page().addLayout(column, 1);
  addStatus(*column);
  column->addStretch(2);
  addSettings(*column);
  column->addSpacing(kPanelSpacing);
  addSwitchRole(*column);
  column->addStretch(3);
  auto* steps = new QVBoxLayout;
  steps->setSpacing(kStepSpacing);
  int number = 0;
  for (const HomeScreen::Step& step : content.steps) {
    steps_.push_back(new StepView(++number, stepContent(step)));
    steps->addWidget(steps_.back());
  }
  column->addLayout(steps);
  column->addStretch(1);
  setContent(content);
  openAtLogin_->setFocus();
}

void HomeWindow::addStatus(QVBoxLayout& column) {
  status_ = new TextView({}, {kStatusSize, QFont::DemiBold, Tone::coral});
  status_->setWordWrap(false);
  auto* row = new QHBoxLayout;
  row->setSpacing(8);
  row->addStretch();
  row->addWidget(new IndicatorView(IndicatorView::Kind::pulse, kPulseSize, Tone::coral));
  row->addWidget(status_);
  row->addStretch();
  column.addLayout(row);
}

void HomeWindow::addSettings(QVBoxLayout& column) {
  auto* panel = new PanelView;
  openAtLogin_ = addCheckBox(panel->column(), &HomeScreen::openAtLogin);
  keepAwake_ = addCheckBox(panel->column(), &HomeScreen::keepAwake);
  address_ = new TextView({}, {ViewStyle::kSmallSize, QFont::Normal, Tone::tertiary});
  // People type it elsewhere.
  address_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  panel->column().addWidget(address_);
  column.addWidget(panel);
}

CheckView* HomeWindow::addCheckBox(QVBoxLayout& column, HomeScreen::CheckBox HomeScreen::*box) {
  auto* check = new CheckView(ViewStyle::text((content_.*box).title));
  QObject::connect(check, &QCheckBox::clicked, this, [this, box](bool on) {
    const auto set = (content_.*box).set;
    if (set) set(on);
  });
  column.addWidget(check, 0, Qt::AlignLeft);
  return check;
}

void HomeWindow::addSwitchRole(QVBoxLayout& column) {
  auto* panel = new PanelView;
  switchPanel_ = panel;
  auto* row = new QHBoxLayout;
  row->setSpacing(10);
  panel->column().addLayout(row);
  switchQuestion_ = new TextView({}, {ViewStyle::kDetailSize, QFont::Normal, Tone::secondary});
  row->addWidget(switchQuestion_, 1);
  const auto& wanted = content_.switchRole;
  auto* button = new ButtonView(wanted ? ViewStyle::text(wanted->button) : QString());
  QObject::connect(button, &QPushButton::clicked, this, [this] {
    if (!content_.switchRole) return;
    const auto action = content_.switchRole->action;
    if (action) action();
  });
  row->addWidget(button);
  column.addWidget(panel);
}

void HomeWindow::setContent(const HomeScreen& content) {
  content_ = content;
  header_->setTitle(ViewStyle::text(content.title));
  header_->setLine(ViewStyle::text(content.line));
  status_->setWords(ViewStyle::text(content.status));
  openAtLogin_->setChecked(content.openAtLogin.on);
  keepAwake_->setChecked(content.keepAwake.on);
  address_->setWords(ViewStyle::text(content.address));
  address_->setVisible(!content.address.empty());
  switchPanel_->setVisible(content.switchRole.has_value());
  if (content.switchRole) switchQuestion_->setWords(ViewStyle::text(content.switchRole->question));
  for (std::size_t i = 0; i < std::min(steps_.size(), content.steps.size()); ++i) {
    steps_[i]->setContent(stepContent(content.steps[i]));
  }
}

}  // namespace tessaline
