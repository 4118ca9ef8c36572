# SPDX-License-Identifier: Apache-2.0
# Compile and link options shared by every target of the tree.

# plexor_defaults: warnings, and the sanitizers or counters that the preset asked for.
add_library(plexor_defaults INTERFACE)
target_compile_features(plexor_defaults INTERFACE cxx_std_20 c_std_99)
target_compile_options(plexor_defaults INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor>
  # g++ 12 sees overlaps in std::string's operator+ where there are none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<BOOL:${PLEXOR_WERROR}>:-Werror>)
if(PLEXOR_SANITIZE)
  target_compile_options(plexor_defaults INTERFACE
    -fsanitize=${PLEXOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(plexor_defaults INTERFACE -fsanitize=${PLEXOR_SANITIZE})
endif()
if(PLEXOR_COVERAGE)
  target_compile_options(plexor_defaults INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(plexor_defaults INTERFACE --coverage)
endif()

# plexor_appliance: what runs on the appliance is C++20 that leaves no C++ runtime behind.
add_library(plexor_appliance INTERFACE)
target_link_libraries(plexor_appliance INTERFACE plexor_defaults)
target_compile_options(plexor_appliance INTERFACE
  -ffunction-sections -fdata-sections -fno-asynchronous-unwind-tables
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
target_link_options(plexor_appliance INTERFACE -Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro -Wl,-z,noexecstack)
