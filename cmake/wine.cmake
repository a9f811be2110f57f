# Runs the programs of a Windows cross build (tests, example) under Wine:
# quiet (WINEDEBUG=-all), headless (no display, so a message box answers at
# once without a button), in a fresh prefix inside the build tree, without
# the Mono and Gecko installers. 64-bit builds find Debian's wine64; for
# 32-bit builds pass -DVSK_WINE=/usr/bin/wine where 32-bit Wine is installed.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  find_program(VSK_WINE NAMES wine64 wine PATHS /usr/lib/wine
               DOC "Wine loader that runs the cross-built test programs")
else()
  set(VSK_WINE "" CACHE FILEPATH "Wine loader that runs the cross-built test programs")
endif()
if(VSK_WINE AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${CMAKE_COMMAND} -E env --unset=DISPLAY --unset=WAYLAND_DISPLAY WINEDEBUG=-all
      WINEPREFIX=${PROJECT_BINARY_DIR}/wine "WINEDLLOVERRIDES=mscoree,mshtml=" ${VSK_WINE})
endif()
