# Compiler and linker flags in one INTERFACE target. Our targets link it privately, so that nothing
# of it reaches the programs that use the library.
add_library(velora_flags INTERFACE)
target_include_directories(velora_flags INTERFACE ${PROJECT_SOURCE_DIR})

target_compile_options(velora_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wcast-qual
  -Wformat=2 -Wno-format-y2k -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  # g++ 12 takes its own inlining of a string's concatenation for overlapping copies.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(VELORA_WERROR)
  target_compile_options(velora_flags INTERFACE -Werror)
endif()

if(VELORA_SANITIZE)
  target_compile_options(velora_flags INTERFACE
    -fsanitize=${VELORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(velora_flags INTERFACE -fsanitize=${VELORA_SANITIZE})
else()
  target_compile_options(velora_flags INTERFACE
    -fstack-protector-strong $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
  include(CheckCXXCompilerFlag)
  foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)  # not on every processor
    string(MAKE_C_IDENTIFIER "has${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      target_compile_options(velora_flags INTERFACE ${flag})
    endif()
  endforeach()
endif()

include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
target_link_options(velora_flags INTERFACE -Wl,-z,relro -Wl,-z,now)

# Makes one library of the product: velora_library(name sources... [INTERNAL sources and headers...]).
# Every header among the first is public: it is installed by its path in this tree, and
# cmake/install.cmake takes the library up by itself. Those behind INTERNAL are the product's own, and
# no public header includes them.
# Headers alone make an INTERFACE library. Others are static or, with BUILD_SHARED_LIBS, shared; both hide
# what velora/utils/api.h does not mark.
function(velora_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "INTERNAL")
  set(headers ${arg_UNPARSED_ARGUMENTS})
  list(FILTER headers INCLUDE REGEX "\\.h$")
  set(sources ${arg_UNPARSED_ARGUMENTS} ${arg_INTERNAL})
  list(FILTER sources EXCLUDE REGEX "\\.h$")
  if(sources)
    set(scope PUBLIC)
    add_library(velora_${name} ${arg_UNPARSED_ARGUMENTS} ${arg_INTERNAL})
    target_link_libraries(velora_${name} PRIVATE $<BUILD_INTERFACE:velora_flags>)
    set_target_properties(velora_${name} PROPERTIES
      CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
    if(BUILD_SHARED_LIBS)
      target_compile_definitions(velora_${name} PUBLIC VELORA_SHARED)
      target_link_options(velora_${name} PRIVATE -Wl,--no-undefined)
    endif()
  else()
    set(scope INTERFACE)
    add_library(velora_${name} INTERFACE)
    target_sources(velora_${name} PRIVATE ${arg_INTERNAL})
  endif()
  add_library(velora::${name} ALIAS velora_${name})
  target_sources(velora_${name} ${scope} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
  set_target_properties(velora_${name} PROPERTIES EXPORT_NAME ${name})
  set_property(GLOBAL APPEND PROPERTY VELORA_LIBRARIES velora_${name})
  target_compile_features(velora_${name} ${scope} cxx_std_20)
endfunction()
