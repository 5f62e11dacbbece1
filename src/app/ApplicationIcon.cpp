#include "app/ApplicationIcon.h"

#include "shell/Brand.h"
#include "shell/ViewStyle.h"

namespace tessaline {

QIcon ApplicationIcon::icon() {
  return ViewStyle::icon(Brand::iconSvg());
}

}  // namespace tessaline
