# The home window.
tessaline_room(
  NAME receiver_ui
  SOURCES HomeWindow.cpp
  MAY_USE receiver shell_ui
  LIBRARIES Qt6::Widgets)
target_compile_definitions(tessaline_receiver_ui PRIVATE QT_NO_KEYWORDS)
