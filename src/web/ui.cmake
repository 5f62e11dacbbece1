# The window that asks about a device.
tessaline_room(
  NAME web_ui
  SOURCES ApprovalAlertWindow.cpp
  MAY_USE web
  LIBRARIES Qt6::Widgets)
