// Bitmaps: CreateBitmap and DeleteObject.
//
// There is no display on this side, so a bitmap is only what the library
// needs of one: an object that an application makes, hands over (the
// expand button's image, SetFileSelectorExpandBitmap) and that whoever
// owns it ends with DeleteObject.  A bitmap keeps its size and its pixels,
// in the layout of a Windows device-dependent bitmap (rows padded to 16
// bits); the file chooser reads them to show the image on its button.
//
// What follows Win32: the handle is the object's until DeleteObject, which
// returns TRUE once and FALSE for any handle that names no bitmap, so that
// deleting twice is seen.  Handles are not used again, so a stale one
// never reaches a newer bitmap (Windows reuses a slot but changes the
// handle's upper bits, to the same effect).
//
// What differs: GDI objects here are bitmaps only, and no device context
// can select them; the table lives as long as the process, with a lock, so
// any thread may make and end bitmaps (on Windows a GDI object belongs to
// the process as well).
#include "platform/posix/windows.h"

#include <stdint.h>
#include <string.h>

#include <mutex>
#include <unordered_map>
#include <vector>

namespace {

struct BitmapTable {
    std::mutex lock;
    std::unordered_map<uintptr_t, BitmapPixels> bitmaps;
    uintptr_t nextHandle = 0x10000;
};

BitmapTable &Bitmaps() {
    static BitmapTable *table = new BitmapTable;  // never destroyed: see above
    return *table;
}

}  // namespace

HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void *bits) {
    const bool knownDepth = bitsPerPixel == 1 || bitsPerPixel == 4 || bitsPerPixel == 8 ||
                            bitsPerPixel == 16 || bitsPerPixel == 24 || bitsPerPixel == 32;
    if (width < 1 || height < 1 || width > 65535 || height > 65535 || planes != 1 || !knownDepth) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const size_t rowBytes = (static_cast<size_t>(width) * bitsPerPixel + 15) / 16 * 2;
    std::vector<unsigned char> pixels(rowBytes * static_cast<size_t>(height));
    if (bits != nullptr)
        memcpy(pixels.data(), bits, pixels.size());
    BitmapTable &table = Bitmaps();
    std::lock_guard<std::mutex> hold(table.lock);
    const uintptr_t handle = table.nextHandle;
    table.nextHandle += 4;
    table.bitmaps.emplace(handle, BitmapPixels{width, height, static_cast<int>(bitsPerPixel), std::move(pixels)});
    return reinterpret_cast<HBITMAP>(handle);
}

BOOL DeleteObject(HGDIOBJ object) {
    BitmapTable &table = Bitmaps();
    std::vector<unsigned char> pixels;  // released after the lock
    std::lock_guard<std::mutex> hold(table.lock);
    auto it = table.bitmaps.find(reinterpret_cast<uintptr_t>(object));
    if (it == table.bitmaps.end())
        return FALSE;
    pixels.swap(it->second.bits);
    table.bitmaps.erase(it);
    return TRUE;
}

bool ReadBitmap(HBITMAP bitmap, BitmapPixels *pixels) {
    BitmapTable &table = Bitmaps();
    std::lock_guard<std::mutex> hold(table.lock);
    auto it = table.bitmaps.find(reinterpret_cast<uintptr_t>(bitmap));
    if (it == table.bitmaps.end())
        return false;
    *pixels = it->second;
    return true;
}
