// A program with a text field and a button, as any toolkit's programs have them. A
// line on its standard input says which of them gets the focus.

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QSocketNotifier>
#include <QVBoxLayout>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QWidget window(nullptr, Qt::FramelessWindowHint);
  window.setGeometry(200, 100, 300, 200);
  QVBoxLayout layout(&window);
  layout.setContentsMargins(0, 0, 0, 0);
  QLineEdit field;
  QPushButton button("Press");
  layout.addWidget(&field);
  layout.addWidget(&button);
  button.setFocus();
  window.show();
  window.activateWindow();
  QSocketNotifier input(0, QSocketNotifier::Read);
  QObject::connect(&input, &QSocketNotifier::activated, [&] {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    if (line == "field") field.setFocus();
    if (line == "button") button.setFocus();
    if (line == "move") window.move(700, 300);
  });
  std::cout << "shown" << std::endl;
  return QApplication::exec();
}
