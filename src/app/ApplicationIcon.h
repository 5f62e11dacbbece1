#pragma once

#include <QIcon>

namespace tessaline {

/// The brand's icon as Qt shows it. Main thread, with an application object.
struct ApplicationIcon {
  [[nodiscard]] static QIcon icon();
};

}  // namespace tessaline
