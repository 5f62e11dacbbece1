#pragma once

#include <QWidget>

#include "base/Observers.h"
#include "web/WebScreenServer.h"

class QLineEdit;

namespace tessaline {

class TextView;

/// The content of the link window. Keeps nothing: it is redrawn from the server whenever the server
/// announces a change. Outlived by the server. Main thread.
class WebScreenQRView final : public QWidget {
 public:
  explicit WebScreenQRView(WebScreenServer& server);

 protected:
  /// Nobody announces that this computer has another address.
  void showEvent(QShowEvent* /*event*/) override { redraw(); }

 private:
  class CodeView;
  class LockView;
  void redraw();

  WebScreenServer& server_;
  CodeView* const code_;
  QLineEdit* const link_;
  LockView* const lock_;
  TextView* const security_;
  Subscription changes_;
};

}  // namespace tessaline
