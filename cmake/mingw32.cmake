set(triple i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
# SSE rounds every operation to float or double as other machines do; the x87 registers of older chips keep more digits.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
