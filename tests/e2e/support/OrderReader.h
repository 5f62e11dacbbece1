#pragma once

#include <unistd.h>

#include <QByteArray>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <functional>
#include <utility>

/// The lines of standard input, one call for each from the event loop; its end ends the program.
class OrderReader {
 public:
  explicit OrderReader(std::function<void(QByteArray)> onOrder) : onOrder_(std::move(onOrder)) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] { read(); });
  }

 private:
  void read() {
    char bytes[4096];
    const auto count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) {
      notifier_.setEnabled(false);
      QGuiApplication::quit();
      return;
    }
    waiting_.append(bytes, static_cast<qsizetype>(count));
    for (qsizetype end; (end = waiting_.indexOf('\n')) >= 0;) {
      const QByteArray order = waiting_.left(end);
      waiting_.remove(0, end + 1);
      onOrder_(order);
    }
  }

  std::function<void(QByteArray)> onOrder_;
  QByteArray waiting_;
  QSocketNotifier notifier_{STDIN_FILENO, QSocketNotifier::Read};
};
