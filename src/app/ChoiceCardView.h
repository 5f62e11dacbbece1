#pragma once

#include <QAbstractButton>
#include <QString>

namespace tessaline {

/// One card of the chooser: a large button that holds a picture, a title and what it means. Main
/// thread.
class ChoiceCardView final : public QAbstractButton {
 public:
  struct Content {
    QString emoji;
    const char* symbol;  ///< drawn where no font has the emoji
    QString title;
    QString detail;
    QString note;  ///< why the card cannot be chosen, or empty
    bool enabled = true;
  };
  explicit ChoiceCardView(const Content& content);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void enterEvent(QEnterEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  class PictureView;
  bool hovering_ = false;
};

}  // namespace tessaline
