#pragma once

#include <QWidget>

#include "control/StatusMenu.h"

namespace tessaline {

class IndicatorView;
class TextView;

/// The head of the status menu: the application's icon and name, and how things stand. Main thread.
class MenuHeaderView final : public QWidget {
 public:
  explicit MenuHeaderView(const StatusMenu::Header& header);

  void setHeader(const StatusMenu::Header& header);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  IndicatorView* dot_;
  TextView* status_;
};

}  // namespace tessaline
