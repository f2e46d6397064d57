# The library three ways from one set of objects: shared (the product), static (the tests reach internals through it).
file(GLOB TAMBA_SOURCES CONFIGURE_DEPENDS foundation/*.cpp db/*.cpp process/*.cpp backup/*.cpp platform/*.cpp)
if(WIN32)
  file(GLOB TAMBA_PLATFORM_SOURCES CONFIGURE_DEPENDS platform/win32/*.cpp)
else()
  file(GLOB TAMBA_PLATFORM_SOURCES CONFIGURE_DEPENDS platform/posix/*.cpp)
endif()

add_library(tamba_objects OBJECT ${TAMBA_SOURCES} ${TAMBA_PLATFORM_SOURCES})
target_compile_definitions(tamba_objects PRIVATE TAMBA_BUILDING)
target_include_directories(tamba_objects PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_link_libraries(tamba_objects PUBLIC SQLite::SQLite3 iniparser::iniparser Threads::Threads PRIVATE tamba_flags)
set_target_properties(tamba_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
if(NOT MSVC)
  target_compile_options(tamba_objects PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
endif()

add_library(tamba SHARED $<TARGET_OBJECTS:tamba_objects>)
add_library(tamba::tamba ALIAS tamba)
target_include_directories(tamba INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(tamba PRIVATE SQLite::SQLite3 iniparser::iniparser Threads::Threads tamba_flags)
set_target_properties(tamba PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
if(WIN32)
  # Programs load it as tamba.dll, whatever the compiler's habits are.
  set_target_properties(tamba PROPERTIES PREFIX "" IMPORT_PREFIX "")
  configure_file(cmake/tamba.rc.in tamba.rc @ONLY)
  target_sources(tamba PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/tamba.rc)
elseif(NOT APPLE)
  target_link_options(tamba PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/tamba.map -Wl,-z,defs,-z,relro,-z,now)
  set_target_properties(tamba PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/tamba.map)
endif()

add_library(tamba_static STATIC $<TARGET_OBJECTS:tamba_objects>)
target_compile_definitions(tamba_static INTERFACE TAMBA_STATIC)
target_include_directories(tamba_static INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_link_libraries(tamba_static PUBLIC SQLite::SQLite3 iniparser::iniparser Threads::Threads)
