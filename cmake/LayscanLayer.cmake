# One static library per layer folder. A layer shows its headers to the
# layers that link it, and to nobody else: its folder is linked into a
# staging tree of its own, and that tree is the only include directory the
# library exports. The source tree itself is on no include path, so an
# include of a layer the target does not link (an include against the
# direction) finds no file and the build stops there.
#
#   layscan_layer(<target> [HEADERS <files>] [LINKS <targets>])
#
# Sources are the folder's *.cpp (sub-folders included) except the other
# platform's; HEADERS stages those files only instead of the whole folder
# (the driver, whose folder holds the layers).
function(layscan_layer target)
  cmake_parse_arguments(LAYER "" "" "HEADERS;LINKS;SOURCES" ${ARGN})
  file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  set(stage ${CMAKE_BINARY_DIR}/layers/${target})
  if(LAYER_SOURCES)
    set(sources ${LAYER_SOURCES})
  else()
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "${LAYSCAN_OTHER_SUFFIX}\\.cpp$")
  endif()
  if(LAYER_HEADERS)
    file(MAKE_DIRECTORY ${stage}/${folder})
    foreach(header ${LAYER_HEADERS})
      file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${stage}/${folder}/${header} SYMBOLIC)
    endforeach()
  else()
    get_filename_component(parent ${stage}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${stage}/${folder} SYMBOLIC)
  endif()
  add_library(${target} STATIC ${sources})
  target_include_directories(${target} PUBLIC ${stage})
  target_link_libraries(${target} PUBLIC ${LAYER_LINKS})
  # A header's __FILE__ names it as in the source tree, whichever path found it.
  target_compile_options(${target} PUBLIC "-fmacro-prefix-map=${stage}/=")
endfunction()
