# The home window, and the full window that shows the stream.
tessaline_room(
  NAME receiver_ui
  SOURCES HomeWindow.cpp OpenGLVideoView.cpp RasterVideoView.cpp ScreenWindows.cpp VideoView.cpp
  MAY_USE receiver shell_ui
  LIBRARIES Qt6::Widgets)
target_compile_definitions(tessaline_receiver_ui PRIVATE QT_NO_KEYWORDS)
