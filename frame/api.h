// CVZ_API marks what the CommonVcZq library exports: every class and free
// function of its public headers.  On Windows it is the dllexport/dllimport
// pair; elsewhere the library is built with hidden visibility and CVZ_API
// makes the marked names visible.
#ifndef CVZ_FRAME_API_H
#define CVZ_FRAME_API_H

#if defined(_WIN32)
#  if defined(CVZ_BUILDING_LIBRARY)
#    define CVZ_API __declspec(dllexport)
#  else
#    define CVZ_API __declspec(dllimport)
#  endif
#else
#  define CVZ_API __attribute__((visibility("default")))
#endif

#endif
