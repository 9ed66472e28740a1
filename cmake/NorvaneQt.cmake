# The window side: found once here, linked only by the folders that have windows.

find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets Network Svg)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb)

# norvane_forms(TARGET): lets a target hold forms (.ui), classes with signals, and resources (.qrc).
function(norvane_forms target)
  set_target_properties(${target} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON)
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
endfunction()
