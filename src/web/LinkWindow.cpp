#include "web/LinkWindow.h"

#include <QVBoxLayout>

#include "web/WebScreenQRView.h"

namespace tessaline {

constexpr QSize kContentSize(380, 460);  // device-independent pixels

LinkWindow::LinkWindow(WebScreenServer& server) : CentredWindow(kContentSize) {
  page().addWidget(new WebScreenQRView(server));
}

}  // namespace tessaline
