set(triple i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
# Floats are rounded as everywhere else only where they are kept in registers of their own width.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
