# The status menu, the setup assistant and the alert about other computers.
find_package(Qt6 REQUIRED COMPONENTS DBus)
tessaline_room(
  NAME control_ui
  SOURCES MacHelpWindow.cpp MenuHeaderView.cpp MenuRowView.cpp SetupAssistantWindow.cpp
          StatusMenuView.cpp StatusMenuWindow.cpp StatusTrayView.cpp
  MAY_USE control shell_ui
  LIBRARIES Qt6::Widgets Qt6::DBus)
target_compile_definitions(tessaline_control_ui PRIVATE QT_NO_KEYWORDS)
