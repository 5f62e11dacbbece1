#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QLinearGradient>
#include <QPalette>
#include <QString>
#include <string_view>

class QPainter;

namespace tessaline {

/// What letters and marks mean; the colour follows from it and from the palette, light or dark.
enum class Tone { primary, secondary, tertiary, coral, green, orange, red };

/// Colours, fonts and sizes of every window, in one place. Sizes are device-independent pixels.
/// Main thread.
struct ViewStyle {
  static constexpr int kMargin = 28;  ///< from a window's edge to its content
  static constexpr double kPanelRadius = 12;
  static constexpr double kFocusWidth = 2;

  // Letters, in pixels.
  static constexpr int kTitleSize = 22;
  static constexpr int kBodySize = 13;
  static constexpr int kDetailSize = 12;
  static constexpr int kSmallSize = 11;

  [[nodiscard]] static QString text(std::string_view utf8);
  /// `words` as a tool tip that shows them as they are: names may look like markup.
  [[nodiscard]] static QString toolTip(const QString& words);
  [[nodiscard]] static QFont font(int pixels, QFont::Weight weight = QFont::Normal);

  [[nodiscard]] static bool dark(const QPalette& palette);
  [[nodiscard]] static QColor colour(const QPalette& palette, Tone tone);
  /// The palette's letter colour made faint, `alpha` 0…1: grounds and hairlines.
  [[nodiscard]] static QColor ink(const QPalette& palette, double alpha);
  [[nodiscard]] static QColor coral(double alpha = 1);
  /// Letters on the gradient.
  [[nodiscard]] static QColor onGradient() { return {0x3A, 0x10, 0x14}; }
  [[nodiscard]] static QLinearGradient gradient(const QRectF& rect);

  /// The mark of what has the keyboard's focus, around `rect`.
  static void paintFocus(QPainter& painter, const QRectF& rect, double radius,
                         const QColor& colour = coral());
  static void paintSvg(QPainter& painter, std::string_view svg, const QRectF& rect);
  /// In every size that menus, panels and window lists ask for.
  [[nodiscard]] static QIcon icon(std::string_view svg);
};

}  // namespace tessaline
