# The window with the link, and the one that asks about a device.
tessaline_room(
  NAME web_ui
  SOURCES ApprovalAlertWindow.cpp LinkWindow.cpp WebScreenQRView.cpp
  MAY_USE web web_qr shell_ui
  LIBRARIES Qt6::Widgets)
target_compile_definitions(tessaline_web_ui PRIVATE QT_NO_KEYWORDS)
