// What the layer's window code shares between its files: the posted
// messages of messages.cpp and the bitmaps of gdi.cpp, which the file
// chooser's windows use (dialog_windows.cpp, file_chooser.cpp).
#ifndef CVZ_PLATFORM_POSIX_WINDOWS_H
#define CVZ_PLATFORM_POSIX_WINDOWS_H

#include "platform/win32.h"

#include <vector>

// Takes out of the calling thread's queue the first message posted to a
// window that `accept` takes, in the order of posting.  False when there
// is none.  The file chooser pumps its own windows' messages this way,
// leaving the application's in the queue.
bool TakeWindowMessage(MSG *msg, bool (*accept)(HWND window, void *context), void *context);

// A bitmap's size and pixels as CreateBitmap took them: rows from the top,
// each padded to 16 bits.  False for a handle that names no bitmap.
struct BitmapPixels {
    int width;
    int height;
    int bitsPerPixel;
    std::vector<unsigned char> bits;
};
bool ReadBitmap(HBITMAP bitmap, BitmapPixels *pixels);

#endif
