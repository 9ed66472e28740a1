# The window side: found once here, linked only by the folders that have windows.

find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets Network Svg DBus)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb)

# norvane_forms(TARGET): lets a target hold forms (.ui), classes with signals, and resources (.qrc). The forms are those
# of the folder, each with a rule of its own: by AUTOUIC, a changed form reached its class one build late.
function(norvane_forms target)
  file(GLOB forms CONFIGURE_DEPENDS *.ui)
  if(forms)
    qt_wrap_ui(headers ${forms})
    target_sources(${target} PRIVATE ${headers})
    target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  set_target_properties(${target} PROPERTIES AUTOMOC ON AUTORCC ON)
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
endfunction()
