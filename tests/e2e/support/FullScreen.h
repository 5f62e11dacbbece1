#pragma once

#include <QGuiApplication>
#include <QScreen>
#include <QString>
#include <QWindow>

/// The monitor of that name (as xrandr and Mutter have it), nothing while there is none.
inline QScreen* screenNamed(const QString& name) {
  for (QScreen* screen : QGuiApplication::screens()) {
    if (screen->name() == name) return screen;
  }
  return nullptr;
}

inline bool onX11() {
  return QGuiApplication::platformName() == QLatin1String("xcb");
}

/// Gives a widget or a window, and the window that it is in, the place of a whole monitor.
template <class Placed>
void placeOver(Placed& placed, QWindow& window, QScreen& screen) {
  window.setScreen(&screen);
  placed.setGeometry(screen.geometry());
}
