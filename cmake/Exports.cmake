# qx_export_public_api(<target>): links the shared library <target> so that it exports exactly
# what cmake/exports.txt lists for it, through a linker version script (ELF) or an
# exported-symbols list (Mach-O), both generated here from that one file.
set(QX_EXPORTS_FILE ${CMAKE_CURRENT_LIST_DIR}/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QX_EXPORTS_FILE})

# The Itanium-mangled prefixes of everything a scope holds: functions and variables (const
# members with NK), vtables, VTTs, typeinfo objects and names, and thunks.
function(_qx_scope_patterns scope out)
  string(REPLACE "::" ";" parts "${scope}")
  set(nested "")
  foreach(part IN LISTS parts)
    string(LENGTH "${part}" length)
    string(APPEND nested "${length}${part}")
  endforeach()
  set(${out} _ZN${nested}* _ZNK${nested}* _ZTVN${nested}* _ZTTN${nested}* _ZTIN${nested}*
      _ZTSN${nested}* _ZTh*_N${nested}* _ZTh*_NK${nested}* _ZTv*_N${nested}*
      _ZTv*_NK${nested}* PARENT_SCOPE)
endfunction()

function(qx_export_public_api target)
  file(STRINGS ${QX_EXPORTS_FILE} lines REGEX "^[^#]")
  set(patterns "")
  foreach(line IN LISTS lines)
    string(REGEX MATCHALL "[^ \t]+" words "${line}")
    list(LENGTH words count)
    if(NOT count EQUAL 3)
      message(FATAL_ERROR "${QX_EXPORTS_FILE}: expected 'library kind name': ${line}")
    endif()
    list(GET words 0 library)
    list(GET words 1 kind)
    list(GET words 2 name)
    if(NOT library STREQUAL target)
      continue()
    endif()
    if(kind STREQUAL "scope")
      _qx_scope_patterns(${name} scope_patterns)
      list(APPEND patterns ${scope_patterns})
    elseif(kind STREQUAL "function")  # a function at global scope, any overload
      string(LENGTH "${name}" length)
      list(APPEND patterns _Z${length}${name}*)
    else()
      message(FATAL_ERROR "${QX_EXPORTS_FILE}: unknown kind '${kind}' in: ${line}")
    endif()
  endforeach()
  if(NOT patterns)
    message(FATAL_ERROR "${QX_EXPORTS_FILE} lists nothing for ${target}")
  endif()

  set(dir ${PROJECT_BINARY_DIR}/exports)
  list(JOIN patterns ";\n    " elf)
  file(CONFIGURE OUTPUT ${dir}/${target}.map
    CONTENT "{\n  global:\n    ${elf};\n  local:\n    *;\n};\n")
  list(TRANSFORM patterns PREPEND _)  # Mach-O symbols carry one more leading underscore
  list(JOIN patterns "\n" macho)
  file(CONFIGURE OUTPUT ${dir}/${target}.exp CONTENT "${macho}\n")

  if(APPLE)
    set(list_file ${dir}/${target}.exp)
    target_link_options(${target} PRIVATE "LINKER:-exported_symbols_list,${list_file}")
  else()
    set(list_file ${dir}/${target}.map)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${list_file}")
  endif()
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list_file})
endfunction()
