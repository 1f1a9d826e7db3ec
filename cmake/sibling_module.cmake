# Modules built from Orbulon's own objects with some of them replaced (the benchmark's zero
# kernel, the reference effect) are linked as Orbulon.so is, and get Orbulon's property list
# beside them under their own name, since the Linux host reads it from there.
function(orbulon_sibling_module target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE orbulon_hostapi orbulon_warnings)
  set_target_properties(${target} PROPERTIES PREFIX ""
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL)
  if(NOT ORBULON_MODULE_RUNTIME_FROM_HOST)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  add_dependencies(${target} orbulon_pipl_file)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${CMAKE_BINARY_DIR}/Orbulon.pipl
            $<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_BASE_NAME:${target}>.pipl
    COMMENT "Copying the property list beside ${target}"
    VERBATIM)
endfunction()
