#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>
#include <string_view>

class QPainter;

namespace tessaline {

/// The small pictures of menus and windows, drawn in one colour and found by the symbol names that
/// the plain data carries. Main thread.
struct ViewSymbols {
  static void paint(QPainter& painter, std::string_view name, const QRectF& rect,
                    const QColor& colour);
  /// Empty for a name without a drawing.
  [[nodiscard]] static QIcon icon(std::string_view name, const QColor& colour);
  [[nodiscard]] static bool has(std::string_view name);
};

}  // namespace tessaline
