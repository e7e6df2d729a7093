# libFuzzer target for the launcher.yml reader, off by default since the normal
# build uses g++. In a build directory of its own:
#   CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DLAUNCHER_FUZZ=ON -DLAUNCHER_BUILD_TESTS=OFF
#   cmake --build build-fuzz --target yaml_fuzzer
#   build-fuzz/bin/yaml_fuzzer -max_total_time=300 fuzz/yaml-corpus
option(LAUNCHER_FUZZ "Build the libFuzzer targets (needs clang)" OFF)

if(LAUNCHER_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "LAUNCHER_FUZZ needs clang: configure with CC=clang CXX=clang++")
  endif()
  # The whole build is instrumented, so the fuzzer sees coverage inside the parser.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)

  add_executable(yaml_fuzzer ${CMAKE_CURRENT_LIST_DIR}/../fuzz/YamlParserFuzzer.cpp)
  target_include_directories(yaml_fuzzer PRIVATE ${CMAKE_CURRENT_LIST_DIR}/../launcher/src
                             ${CMAKE_CURRENT_LIST_DIR}/../launcher/test)
  target_link_libraries(yaml_fuzzer PRIVATE launcher_config)
  target_link_options(yaml_fuzzer PRIVATE -fsanitize=fuzzer)
endif()
