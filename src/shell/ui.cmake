# What all windows are made of, so that they look like one family.
tessaline_room(
  NAME shell_ui
  SOURCES AlertWindow.cpp BrandHeaderView.cpp ButtonView.cpp CentredWindow.cpp CheckView.cpp
          IndicatorView.cpp PanelView.cpp StepView.cpp TextView.cpp ViewStyle.cpp ViewSymbols.cpp
  MAY_USE shell
  LIBRARIES Qt6::Widgets Qt6::Svg)
target_compile_definitions(tessaline_shell_ui PRIVATE QT_NO_KEYWORDS)
