# What the product calls and does not build. All of it comes from Debian's packages
# (scripts/setup names them); nothing is downloaded or vendored.
find_package(ZLIB REQUIRED)
find_package(BZip2 REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(libpcap REQUIRED IMPORTED_TARGET libpcap)
pkg_check_modules(re2 REQUIRED IMPORTED_TARGET re2)  # its file says version 0.0.0: ask for none

foreach(module IN ITEMS libisal liblzma libzstd liblz4 libxxhash)
  pkg_check_modules(${module} REQUIRED IMPORTED_TARGET ${module})
endforeach()
find_package(nlohmann_json REQUIRED)

# The pooling of the scalable allocator hides heap errors from the sanitizers, so their builds
# link a stand-in that forwards to malloc.
find_package(TBB CONFIG REQUIRED COMPONENTS tbbmalloc)
add_library(velora_record_allocator INTERFACE)
if(VELORA_SANITIZE)
  add_library(velora_allocator_stand_in STATIC ${PROJECT_SOURCE_DIR}/cmake/allocator_stand_in.cpp)
  target_link_libraries(velora_allocator_stand_in PRIVATE velora_flags)
  target_include_directories(velora_record_allocator SYSTEM INTERFACE
    $<TARGET_PROPERTY:TBB::tbbmalloc,INTERFACE_INCLUDE_DIRECTORIES>)
  target_link_libraries(velora_record_allocator INTERFACE velora_allocator_stand_in)
else()
  target_link_libraries(velora_record_allocator INTERFACE TBB::tbbmalloc)
endif()
