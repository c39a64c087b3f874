// The windows of a running file dialog, shared by the file chooser
// (file_chooser.cpp), which makes them and gives them their procedures,
// and the window calls on them (dialog_windows.cpp).
#ifndef CVZ_PLATFORM_POSIX_DIALOG_WINDOWS_H
#define CVZ_PLATFORM_POSIX_DIALOG_WINDOWS_H

#include <strings.h>

#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix/gtk.h"
#include "platform/posix/windows.h"

namespace cvz::posix {

// A widget as the GTK class it is.  GTK's checked casts would call the
// type functions, which are not linked; the widgets made here are known.
template <typename T>
T *As(GtkWidget *widget) {
    return reinterpret_cast<T *>(widget);
}

// Property names compare without case, as the atoms of Windows do.
struct Caseless {
    bool operator()(const std::string &a, const std::string &b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};

// What a window of the dialog is; its class name follows (ClassOf).
enum class Kind { Frame, HookDialog, NameBox, FileList, Button, CheckBox, ComboBox, Static };

struct Dialog;

// One window of a running dialog.
struct DialogWindow {
    DialogWindow(Dialog *dialog, Kind kind, int id, DialogWindow *parent, GtkWidget *widget)
        : dialog(dialog), kind(kind), id(id), parent(parent), widget(widget) {}

    Dialog *dialog;
    Kind kind;
    int id;
    DialogWindow *parent;
    GtkWidget *widget;  // null for a window without one
    HWND handle = nullptr;
    WNDPROC proc = nullptr;
    LONG_PTR style = 0;
    LONG_PTR userData = 0;
    LONG_PTR messageResult = 0;
    std::string text;                // the text of a window whose widget keeps none
    std::vector<std::string> items;  // a combo box's
    int selected = -1;
    std::map<std::string, void *, Caseless> properties;
};

// One running dialog: the chooser, its windows, and where its run stands.
struct Dialog {
    Dialog(const GtkLibrary &gtk, OPENFILENAMEA *record, bool save) : gtk(gtk), record(record), save(save) {}

    const GtkLibrary &gtk;
    OPENFILENAMEA *record;
    bool save;
    GtkWidget *chooser = nullptr;
    std::vector<std::unique_ptr<DialogWindow>> windows;
    DialogWindow *frame = nullptr;
    DialogWindow *hookDialog = nullptr;
    DialogWindow *nameBox = nullptr;
    GtkWidget *readOnlyBox = nullptr;
    RECT rect = {};      // the frame's place and size
    std::string folder;  // the chooser's folder, native
    std::string notifiedFolder;  // the folder of the last CDN_FOLDERCHANGE
    std::vector<std::unique_ptr<std::string>> masks;  // of each filter, for matching
    std::vector<GtkFileFilter *> filters;
    bool configured = false;  // the window system has placed the frame
    bool waited = false;      // the wait for that is over
    bool live = false;        // notifications go out after CDN_INITDONE
    bool selectedEarly = false;  // the selection changed before that
    bool ended = false;
    BOOL result = FALSE;
    bool settingCombo = false;
    std::exception_ptr failure;  // raised by the hook, raised again at the end
};

// The dialog window of `window`, a window of a dialog running on this
// thread; null for any other handle.
DialogWindow *FindDialogWindow(HWND window);
// Makes `window` known by its handle, or forgets it, for this thread.
void RegisterDialogWindow(DialogWindow *window);
void ForgetDialogWindow(HWND window);

// Hands a message to the window's present procedure.
inline LRESULT SendToWindow(DialogWindow *window, UINT message, WPARAM wParam, LPARAM lParam) {
    return window->proc != nullptr ? window->proc(window->handle, message, wParam, lParam) : 0;
}

// The Win32 class name of a kind of window.
const char *ClassOf(Kind kind);

// Copies `text` into a buffer of `size` bytes, cut and zero-ended; returns
// the characters copied.
LRESULT CopyOut(const std::string &text, WPARAM size, LPARAM buffer);

}  // namespace cvz::posix

#endif
