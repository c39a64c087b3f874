// The common file dialog on a GTK 3 file chooser.
//
// GetOpenFileNameA and GetSaveFileNameA show a GtkFileChooserDialog, run
// it to its end on the calling thread, and fill the OPENFILENAMEA record
// as Windows does.  The record is translated both ways: the filter pairs
// become the chooser's filters (masks matched without case, "*.*" taking
// every name), lpstrInitialDir or the path in lpstrFile its start folder,
// lpstrTitle its title, OFN_ALLOWMULTISELECT its multiple selection, and
// the result comes back in lpstrFile (one full name, or with several the
// folder and the names each ended by a zero, with a second zero at the
// end), nFileOffset, nFileExtension, nFilterIndex and OFN_READONLY.  Names
// on this side are the layer's drive-letter names (Z:\home\...).
//
// Without a display, without GTK 3, or on a thread other than the one
// that first started GTK, both calls fail at once, the way Windows fails a
// dialog it cannot set up: FALSE, the record as it came, no hook call, and
// CommDlgExtendedError gives CDERR_INITIALIZATION (2).  A null record, or
// one whose lStructSize is neither the full size nor the size up to
// lpTemplateName, gives CDERR_STRUCTSIZE (1).  A cancel gives FALSE with
// 0, and a result larger than nMaxFile FNERR_BUFFERTOOSMALL, with the size
// needed in the first two bytes of lpstrFile.
//
// The dialog's windows, the messages they take and what differs from
// Windows are written up in dialog_windows.cpp, beside the window calls
// by which a hook drives them.
#include "platform/posix/dialog_windows.h"

#include <fnmatch.h>
#include <stddef.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix/gtk.h"
#include "platform/posix/paths.h"

using namespace cvz::posix;

namespace {

thread_local DWORD dialogError = 0;

enum : int {
    kExpandButton = 500,
    kRecentFolders = 501,
    kFolderText = 502,
};

// The two sizes a record may give: the full one, and the one that ends
// with lpTemplateName, which programs pass to get the dialog without the
// later additions.
bool KnownSize(DWORD size) {
    return size == sizeof(OPENFILENAMEA) || size == offsetof(OPENFILENAMEA, lpTemplateName) + sizeof(LPCSTR);
}

// ---- names and paths

std::string DriveName(const std::string &native) {
    std::string name;
    return DriveLetterName(native.c_str(), name) ? name : native;
}

// The native path of a name in the name box: a drive-letter name, an
// absolute native path, or a name relative to the chooser's folder.
std::string Resolve(const Dialog &d, std::string name) {
    char path[4096];
    if (name.size() >= 2 && name[1] == ':')
        return NativePath(name.c_str(), path, sizeof path) ? std::string(path) : name;
    for (char &c : name)
        if (c == '\\')
            c = '/';
    if (!name.empty() && name[0] == '/')
        return name;
    return d.folder == "/" ? "/" + name : d.folder + "/" + name;
}

std::string Leaf(const std::string &path) {
    const size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool IsFolder(const std::string &native) {
    struct stat info;
    return stat(native.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Exists(const std::string &native) {
    struct stat info;
    return stat(native.c_str(), &info) == 0;
}

// The names of a name box's text: several in double quotes, or one.
std::vector<std::string> SplitNames(const std::string &text, bool several) {
    std::vector<std::string> names;
    if (several && text.find('"') != std::string::npos) {
        for (size_t at = text.find('"'); at != std::string::npos; at = text.find('"', at)) {
            const size_t end = text.find('"', at + 1);
            if (end == std::string::npos)
                break;
            if (end > at + 1)
                names.push_back(text.substr(at + 1, end - at - 1));
            at = end + 1;
        }
        return names;
    }
    std::string name = text;
    while (!name.empty() && (name.back() == ' ' || name.back() == '"'))
        name.pop_back();
    const size_t start = name.find_first_not_of(" \"");
    if (start != std::string::npos)
        names.push_back(name.substr(start));
    return names;
}

// The chooser's present selection, native, files and folders alike.
std::vector<std::string> ChooserSelection(const Dialog &d) {
    std::vector<std::string> names;
    GSList *list = d.gtk.file_chooser_get_filenames(As<GtkFileChooser>(d.chooser));
    for (GSList *item = list; item != nullptr; item = item->next) {
        names.push_back(static_cast<char *>(item->data));
        d.gtk.free(item->data);
    }
    d.gtk.slist_free(list);
    return names;
}

// ---- texts of windows

std::string OwnText(const char *text) {
    return text != nullptr ? text : "";
}

std::string TextOf(const DialogWindow &w) {
    const GtkLibrary &gtk = w.dialog->gtk;
    switch (w.kind) {
    case Kind::Frame:
        return OwnText(gtk.window_get_title(As<GtkWindow>(w.widget)));
    case Kind::NameBox:
        if (w.dialog->save) {
            gchar *name = gtk.file_chooser_get_current_name(As<GtkFileChooser>(w.dialog->chooser));
            std::string text = OwnText(name);
            gtk.free(name);
            return text;
        }
        return w.text;
    case Kind::Button:
    case Kind::CheckBox:
        return w.widget != nullptr ? OwnText(gtk.button_get_label(As<GtkButton>(w.widget))) : w.text;
    case Kind::Static:
        return w.widget != nullptr ? OwnText(gtk.label_get_text(As<GtkLabel>(w.widget))) : w.text;
    case Kind::ComboBox:
        return w.selected >= 0 ? w.items[static_cast<size_t>(w.selected)] : std::string();
    default:
        return w.text;
    }
}

void SetTextOf(DialogWindow &w, const char *text) {
    const GtkLibrary &gtk = w.dialog->gtk;
    const char *value = text != nullptr ? text : "";
    w.text = value;
    if (w.kind == Kind::Frame)
        gtk.window_set_title(As<GtkWindow>(w.widget), value);
    else if (w.kind == Kind::NameBox && w.dialog->save)
        gtk.file_chooser_set_current_name(As<GtkFileChooser>(w.dialog->chooser), value);
    else if ((w.kind == Kind::Button || w.kind == Kind::CheckBox) && w.widget != nullptr)
        gtk.button_set_label(As<GtkButton>(w.widget), value);
    else if (w.kind == Kind::Static && w.widget != nullptr)
        gtk.label_set_text(As<GtkLabel>(w.widget), value);
}
// The CDM_ answers: the text and its size with the zero; a buffer too
// small gets nothing and the size needed comes back.
LRESULT Answer(const std::string &text, WPARAM size, LPARAM buffer) {
    if (buffer != 0 && text.size() < size)
        CopyOut(text, size, buffer);
    return static_cast<LRESULT>(text.size() + 1);
}

// ---- bitmaps as GTK images

GdkPixbuf *PixbufOf(const GtkLibrary &gtk, HBITMAP bitmap) {
    BitmapPixels b;
    if (!ReadBitmap(bitmap, &b) || (b.bitsPerPixel != 32 && b.bitsPerPixel != 24 && b.bitsPerPixel != 1))
        return nullptr;
    GdkPixbuf *pixbuf = gtk.pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, b.width, b.height);
    if (pixbuf == nullptr)
        return nullptr;
    guchar *pixels = gtk.pixbuf_get_pixels(pixbuf);
    const int stride = gtk.pixbuf_get_rowstride(pixbuf);
    const size_t rowBytes = (static_cast<size_t>(b.width) * b.bitsPerPixel + 15) / 16 * 2;
    for (int y = 0; y < b.height; ++y) {
        const unsigned char *row = b.bits.data() + rowBytes * static_cast<size_t>(y);
        guchar *out = pixels + static_cast<ptrdiff_t>(stride) * y;
        for (int x = 0; x < b.width; ++x, out += 4) {
            if (b.bitsPerPixel == 1) {
                const guchar v = (row[x / 8] >> (7 - x % 8)) & 1 ? 255 : 0;
                out[0] = out[1] = out[2] = v;
            } else {
                const unsigned char *p = row + static_cast<size_t>(x) * (b.bitsPerPixel / 8);
                out[0] = p[2];  // Windows keeps blue, green, red
                out[1] = p[1];
                out[2] = p[0];
            }
            out[3] = 255;
        }
    }
    return pixbuf;
}

// ---- notifications and the end

void Notify(Dialog &d, UINT code) {
    if (d.hookDialog == nullptr)
        return;
    OFNOTIFYA note = {{d.frame->handle, 0, code}, d.record, nullptr};
    SendToWindow(d.hookDialog, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&note));
}

// CDN_FOLDERCHANGE, once for each folder the chooser comes to.
void NotifyFolder(Dialog &d) {
    if (!d.live || d.folder == d.notifiedFolder)
        return;
    d.notifiedFolder = d.folder;
    Notify(d, CDN_FOLDERCHANGE);
}

void End(Dialog &d, BOOL result) {
    d.result = result;
    d.ended = true;
}

// Runs `action`, which may reach the caller's hook.  An exception must not
// cross GTK's C frames: it ends the dialog, and the dialog call raises it
// again once its windows are gone.
template <typename Action>
void Guarded(Dialog &d, Action action) {
    try {
        action();
    } catch (...) {
        if (!d.failure)
            d.failure = std::current_exception();
        End(d, FALSE);
    }
}

int FilterIndex(const Dialog &d) {
    GtkFileFilter *current = d.gtk.file_chooser_get_filter(As<GtkFileChooser>(d.chooser));
    for (size_t i = 0; i < d.filters.size(); ++i)
        if (d.filters[i] == current)
            return static_cast<int>(i) + 1;
    return static_cast<int>(d.record->nFilterIndex);
}

// Writes the choice into the record, as Windows lays it out.
void Fill(Dialog &d, const std::vector<std::string> &natives) {
    OPENFILENAMEA &r = *d.record;
    std::string text;
    uint16_t offset = 0, extension = 0;
    if (natives.size() == 1) {
        text = DriveName(natives[0]);
        const size_t slash = text.rfind('\\');
        offset = static_cast<uint16_t>(slash == std::string::npos ? 0 : slash + 1);
        const size_t dot = text.rfind('.');
        extension = static_cast<uint16_t>(dot != std::string::npos && dot >= offset ? dot + 1 : text.size());
        text.push_back('\0');
    } else {
        const std::string native = natives[0].substr(0, natives[0].rfind('/'));
        text = DriveName(native.empty() ? "/" : native);
        text.push_back('\0');
        offset = static_cast<uint16_t>(text.size());
        for (const std::string &name : natives) {
            text += Leaf(name);
            text.push_back('\0');
        }
    }
    text.push_back('\0');
    if (r.lpstrFile == nullptr || text.size() > r.nMaxFile) {
        if (r.lpstrFile != nullptr && r.nMaxFile >= 2) {
            const uint16_t needed = static_cast<uint16_t>(std::min<size_t>(text.size(), 0xFFFF));
            memcpy(r.lpstrFile, &needed, sizeof needed);
        }
        dialogError = FNERR_BUFFERTOOSMALL;
        End(d, FALSE);
        return;
    }
    memcpy(r.lpstrFile, text.data(), text.size());
    r.nFileOffset = offset;
    r.nFileExtension = extension;
    if (r.lpstrFileTitle != nullptr && r.nMaxFileTitle > 0 && natives.size() == 1)
        CopyOut(Leaf(natives[0]), r.nMaxFileTitle, reinterpret_cast<LPARAM>(r.lpstrFileTitle));
    r.nFilterIndex = static_cast<DWORD>(FilterIndex(d));
    if (d.readOnlyBox != nullptr) {
        if (d.gtk.toggle_button_get_active(As<GtkToggleButton>(d.readOnlyBox)))
            r.Flags |= OFN_READONLY;
        else
            r.Flags &= ~static_cast<DWORD>(OFN_READONLY);
    }
    End(d, TRUE);
}

// Asks the user with the texts of Windows; false when the name fails.
bool Check(Dialog &d, const std::string &native, const char *question, UINT buttons) {
    const std::string text = DriveName(native) + question;
    const int answer = MessageBoxA(d.frame->handle, text.c_str(), TextOf(*d.frame).c_str(), buttons);
    return answer == IDYES;
}

// Accepts `natives`, the names the user chose, after the checks of the
// record's flags and the hook's CDN_FILEOK.
void Complete(Dialog &d, std::vector<std::string> natives) {
    const DWORD flags = d.record->Flags;
    for (std::string &name : natives) {
        const std::string leaf = Leaf(name);
        if (d.record->lpstrDefExt != nullptr && d.record->lpstrDefExt[0] != '\0' &&
            leaf.find('.') == std::string::npos && (d.save || !Exists(name)))
            name += std::string(".") + d.record->lpstrDefExt;
        const std::string folder = name.substr(0, name.rfind('/'));
        if ((flags & OFN_PATHMUSTEXIST) && !folder.empty() && !IsFolder(folder)) {
            Check(d, name, "\nPath does not exist.\nCheck the path and try again.", MB_OK | MB_ICONWARNING);
            return;
        }
        const bool exists = Exists(name);
        if ((flags & OFN_FILEMUSTEXIST) && !exists) {
            Check(d, name, "\nFile not found.\nCheck the file name and try again.", MB_OK | MB_ICONWARNING);
            return;
        }
        if (d.save && (flags & OFN_OVERWRITEPROMPT) && exists &&
            !Check(d, name, " already exists.\nDo you want to replace it?", MB_YESNO | MB_ICONWARNING))
            return;
    }
    d.hookDialog->messageResult = 0;
    Notify(d, CDN_FILEOK);
    if (d.hookDialog->messageResult != 0)
        return;  // the hook keeps the dialog open
    Fill(d, natives);
}

// IDOK or Enter: the name box decides, else the chooser's selection.
void Accept(Dialog &d) {
    const bool several = (d.record->Flags & OFN_ALLOWMULTISELECT) != 0;
    std::vector<std::string> natives;
    for (const std::string &name : SplitNames(TextOf(*d.nameBox), several))
        natives.push_back(Resolve(d, name));
    if (natives.empty())
        natives = ChooserSelection(d);
    if (natives.empty())
        return;
    if (natives.size() == 1 && IsFolder(natives[0])) {
        d.gtk.file_chooser_set_current_folder(As<GtkFileChooser>(d.chooser), natives[0].c_str());
        SetTextOf(*d.nameBox, "");
        return;
    }
    Complete(d, natives);
}

// ---- window procedures

void SetComboSelection(DialogWindow &w, int index) {
    w.selected = index >= 0 && static_cast<size_t>(index) < w.items.size() ? index : -1;
    if (w.widget != nullptr) {
        w.dialog->settingCombo = true;
        w.dialog->gtk.combo_box_set_active(As<GtkComboBox>(w.widget), w.selected);
        w.dialog->settingCombo = false;
    }
}

LRESULT ComboMessage(DialogWindow &w, UINT message, WPARAM wParam, LPARAM lParam) {
    const GtkLibrary &gtk = w.dialog->gtk;
    const size_t index = static_cast<size_t>(wParam);
    switch (message) {
    case CB_ADDSTRING: {
        const char *text = reinterpret_cast<const char *>(lParam);
        w.items.push_back(text != nullptr ? text : "");
        if (w.widget != nullptr) {
            gtk.combo_box_text_append_text(As<GtkComboBoxText>(w.widget), w.items.back().c_str());
        } else {
            char native[4096];
            if (NativePath(w.items.back().c_str(), native, sizeof native))
                gtk.file_chooser_add_shortcut_folder(As<GtkFileChooser>(w.dialog->chooser), native, nullptr);
        }
        return static_cast<LRESULT>(w.items.size() - 1);
    }
    case CB_GETCOUNT:
        return static_cast<LRESULT>(w.items.size());
    case CB_GETCURSEL:
        return w.selected;
    case CB_SETCURSEL:
        SetComboSelection(w, static_cast<int>(wParam));
        return w.selected;
    case CB_GETLBTEXTLEN:
        return index < w.items.size() ? static_cast<LRESULT>(w.items[index].size()) : static_cast<LRESULT>(CB_ERR);
    case CB_GETLBTEXT:
        if (index >= w.items.size())
            return CB_ERR;
        strcpy(reinterpret_cast<char *>(lParam), w.items[index].c_str());
        return static_cast<LRESULT>(w.items[index].size());
    case CB_RESETCONTENT:
        w.items.clear();
        w.selected = -1;
        if (w.widget != nullptr)
            gtk.combo_box_text_remove_all(As<GtkComboBoxText>(w.widget));
        return 0;
    default:
        return 0;
    }
}

LRESULT FrameMessage(DialogWindow &w, UINT message, WPARAM wParam, LPARAM lParam) {
    Dialog &d = *w.dialog;
    const GtkLibrary &gtk = d.gtk;
    switch (message) {
    case WM_COMMAND:
        if ((wParam & 0xFFFF) == IDOK)
            Accept(d);
        else if ((wParam & 0xFFFF) == IDCANCEL)
            End(d, FALSE);
        return 0;
    case WM_KEYDOWN:
        if (wParam == VK_RETURN)
            Accept(d);
        else if (wParam == VK_ESCAPE)
            End(d, FALSE);
        return 0;
    case WM_CLOSE:
        End(d, FALSE);
        return 0;
    case WM_SETICON:
        if (GdkPixbuf *icon = PixbufOf(gtk, reinterpret_cast<HBITMAP>(lParam))) {
            gtk.window_set_icon(As<GtkWindow>(d.chooser), icon);
            gtk.object_unref(icon);
        }
        return 0;
    case WM_NEXTDLGCTL: {
        DialogWindow *target = lParam != 0 ? FindDialogWindow(reinterpret_cast<HWND>(wParam)) : nullptr;
        if (target != nullptr && target->widget != nullptr)
            gtk.widget_grab_focus(target->widget);
        return 0;
    }
    case CDM_GETSPEC:
        return Answer(TextOf(*d.nameBox), wParam, lParam);
    case CDM_GETFOLDERPATH:
        return Answer(DriveName(d.folder), wParam, lParam);
    case CDM_GETFILEPATH: {
        const std::string typed = TextOf(*d.nameBox);
        if (typed.empty()) {
            const std::vector<std::string> selected = ChooserSelection(d);
            return Answer(selected.size() == 1 ? DriveName(selected[0]) : DriveName(d.folder), wParam, lParam);
        }
        if (typed.find('"') != std::string::npos)
            return Answer(DriveName(d.folder) + "\\" + typed, wParam, lParam);
        return Answer(DriveName(Resolve(d, typed)), wParam, lParam);
    }
    case CDM_SETCONTROLTEXT:
        for (auto &child : d.windows)
            if (child->id == static_cast<int>(wParam) && child->kind != Kind::Frame)
                SetTextOf(*child, reinterpret_cast<const char *>(lParam));
        return 0;
    case CDM_HIDECONTROL:
        for (auto &child : d.windows)
            if (child->id == static_cast<int>(wParam) && child->widget != nullptr && child->kind != Kind::Frame)
                gtk.widget_hide(child->widget);
        return 0;
    default:
        return 0;
    }
}

// The procedure every window of the dialog starts with.
LRESULT CALLBACK DialogWindowProc(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
    DialogWindow *w = FindDialogWindow(handle);
    if (w == nullptr)
        return 0;
    if (w->kind == Kind::HookDialog) {
        const OPENFILENAMEA &r = *w->dialog->record;
        return (r.Flags & OFN_ENABLEHOOK) && r.lpfnHook != nullptr
                   ? static_cast<LRESULT>(r.lpfnHook(handle, message, wParam, lParam))
                   : 0;
    }
    switch (message) {
    case WM_SETTEXT:
        SetTextOf(*w, reinterpret_cast<const char *>(lParam));
        return TRUE;
    case WM_GETTEXT:
        return CopyOut(TextOf(*w), wParam, lParam);
    case WM_GETTEXTLENGTH:
        return static_cast<LRESULT>(TextOf(*w).size());
    default:
        break;
    }
    const GtkLibrary &gtk = w->dialog->gtk;
    switch (w->kind) {
    case Kind::Frame:
        return FrameMessage(*w, message, wParam, lParam);
    case Kind::ComboBox:
        return ComboMessage(*w, message, wParam, lParam);
    case Kind::Button:
        if (message == BM_CLICK && w->widget != nullptr)
            gtk.button_clicked(As<GtkButton>(w->widget));
        if (message == BM_SETIMAGE && wParam == IMAGE_BITMAP && w->widget != nullptr) {
            if (GdkPixbuf *image = PixbufOf(gtk, reinterpret_cast<HBITMAP>(lParam))) {
                gtk.button_set_image(As<GtkButton>(w->widget), gtk.image_new_from_pixbuf(image));
                gtk.button_set_always_show_image(As<GtkButton>(w->widget), TRUE);
                gtk.object_unref(image);
            }
        }
        return 0;
    case Kind::CheckBox:
        if (message == BM_GETCHECK)
            return gtk.toggle_button_get_active(As<GtkToggleButton>(w->widget));
        if (message == BM_SETCHECK)
            gtk.toggle_button_set_active(As<GtkToggleButton>(w->widget), wParam != 0);
        return 0;
    default:
        return 0;
    }
}

// ---- GTK's signals

// The chooser's own accept, by its button or by Enter.  A save dialog
// takes the name entry, which GTK may not have joined to the folder yet
// when Enter follows the typing at once; an open dialog the selection
// that GTK has checked, else the name box.
void OnResponse(GtkDialog *, gint response, gpointer data) {
    Dialog &d = *static_cast<Dialog *>(data);
    Guarded(d, [&] {
        std::vector<std::string> natives;
        if (response != GTK_RESPONSE_ACCEPT)
            End(d, FALSE);
        else if (!d.save && !(natives = ChooserSelection(d)).empty())
            Complete(d, natives);
        else
            Accept(d);
    });
}

// Closing the window (Escape, or the window system's close) is a cancel;
// the window stays until the dialog call takes it down.
gboolean OnDelete(GtkWidget *, GdkEvent *, gpointer data) {
    End(*static_cast<Dialog *>(data), FALSE);
    return TRUE;
}

void OnFolderChanged(GtkFileChooser *, gpointer data) {
    Dialog &d = *static_cast<Dialog *>(data);
    gchar *folder = d.gtk.file_chooser_get_current_folder(As<GtkFileChooser>(d.chooser));
    if (folder != nullptr)
        d.folder = folder;
    d.gtk.free(folder);
    Guarded(d, [&] { NotifyFolder(d); });
}

// A selection of files that the user makes fills the name box of an open
// dialog, as the list of Windows fills it.  GTK also selects on its own,
// the first file of a folder it has loaded, with no input event behind
// it; that, and a selection that holds no file, leave the name box.
void OnSelectionChanged(GtkFileChooser *, gpointer data) {
    Dialog &d = *static_cast<Dialog *>(data);
    if (!d.live) {
        d.selectedEarly = true;
        return;
    }
    if (!d.save && d.gtk.get_current_event_time() != GDK_CURRENT_TIME) {
        std::vector<std::string> files;
        for (const std::string &name : ChooserSelection(d))
            if (!IsFolder(name))
                files.push_back(Leaf(name));
        if (files.size() == 1) {
            d.nameBox->text = files[0];
        } else if (files.size() > 1) {
            d.nameBox->text.clear();
            for (const std::string &name : files)
                d.nameBox->text += (d.nameBox->text.empty() ? "\"" : " \"") + name + "\"";
        }
    }
    Guarded(d, [&] { Notify(d, CDN_SELCHANGE); });
}

gboolean OnConfigure(GtkWidget *, GdkEventConfigure *event, gpointer data) {
    Dialog &d = *static_cast<Dialog *>(data);
    d.rect = {event->x, event->y, event->x + event->width, event->y + event->height};
    d.configured = true;
    return FALSE;
}

// A template control tells the hook's dialog, as a Windows control tells
// its parent.
void Command(DialogWindow &w, unsigned int notification) {
    Guarded(*w.dialog, [&] {
        SendToWindow(w.dialog->hookDialog, WM_COMMAND, MAKEWPARAM(static_cast<unsigned>(w.id), notification),
             reinterpret_cast<LPARAM>(w.handle));
    });
}

void OnControlClicked(GtkButton *, gpointer data) {
    Command(*static_cast<DialogWindow *>(data), BN_CLICKED);
}

void OnComboChanged(GtkComboBox *, gpointer data) {
    DialogWindow &w = *static_cast<DialogWindow *>(data);
    if (w.dialog->settingCombo)
        return;
    w.selected = w.dialog->gtk.combo_box_get_active(As<GtkComboBox>(w.widget));
    Command(w, CBN_SELCHANGE);
}

gboolean MatchesMasks(const GtkFileFilterInfo *info, gpointer data) {
    const std::string &masks = *static_cast<const std::string *>(data);
    if (info->display_name == nullptr)
        return FALSE;
    size_t start = 0;
    while (start <= masks.size()) {
        size_t end = masks.find(';', start);
        if (end == std::string::npos)
            end = masks.size();
        std::string mask = masks.substr(start, end - start);
        const size_t first = mask.find_first_not_of(' ');
        mask = first == std::string::npos ? std::string() : mask.substr(first, mask.find_last_not_of(' ') - first + 1);
        if (mask == "*.*" || mask == "*" || (!mask.empty() && fnmatch(mask.c_str(), info->display_name, FNM_CASEFOLD) == 0))
            return TRUE;
        start = end + 1;
    }
    return FALSE;
}

gboolean StopWaiting(gpointer data) {
    static_cast<Dialog *>(data)->waited = true;
    return G_SOURCE_REMOVE;
}

bool IsWindowOf(HWND handle, void *data) {
    DialogWindow *w = FindDialogWindow(handle);
    return w != nullptr && w->dialog == data;
}

gboolean PumpMessages(gpointer data) {
    Dialog &d = *static_cast<Dialog *>(data);
    MSG msg;
    while (!d.ended && TakeWindowMessage(&msg, IsWindowOf, &d)) {
        if (DialogWindow *w = FindDialogWindow(msg.hwnd))
            Guarded(d, [&] { SendToWindow(w, msg.message, msg.wParam, msg.lParam); });
    }
    return G_SOURCE_CONTINUE;
}

// ---- building and running the dialog
// A window of the dialog, with a handle of the thread's window registry so
// that messages can be posted to it.
DialogWindow *AddWindow(Dialog &d, Kind kind, int id, DialogWindow *parent, GtkWidget *widget) {
    HWND handle = CreateWindowExA(0, ClassOf(kind), "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (handle == nullptr)
        return nullptr;
    d.windows.push_back(std::make_unique<DialogWindow>(&d, kind, id, parent, widget));
    DialogWindow *w = d.windows.back().get();
    w->handle = handle;
    w->proc = DialogWindowProc;
    RegisterDialogWindow(w);
    return w;
}

void AddFilters(Dialog &d) {
    const char *pair = d.record->lpstrFilter;
    while (pair != nullptr && pair[0] != '\0') {
        const char *masks = pair + strlen(pair) + 1;
        GtkFileFilter *filter = d.gtk.file_filter_new();
        d.gtk.file_filter_set_name(filter, pair);
        d.masks.push_back(std::make_unique<std::string>(masks));
        d.gtk.file_filter_add_custom(filter, GTK_FILE_FILTER_DISPLAY_NAME, MatchesMasks, d.masks.back().get(),
                                     nullptr);
        d.gtk.file_chooser_add_filter(As<GtkFileChooser>(d.chooser), filter);
        d.filters.push_back(filter);
        pair = masks + strlen(masks) + 1;
    }
    const DWORD index = d.record->nFilterIndex;
    if (index >= 1 && index <= d.filters.size())
        d.gtk.file_chooser_set_filter(As<GtkFileChooser>(d.chooser), d.filters[index - 1]);
}

// The template's controls and the read-only box, in the chooser's extra
// area.
void AddExtraArea(Dialog &d) {
    const GtkLibrary &gtk = d.gtk;
    const bool withTemplate = (d.record->Flags & OFN_ENABLETEMPLATE) != 0;
    const bool withReadOnly = (d.record->Flags & OFN_HIDEREADONLY) == 0;
    if (!withTemplate) {
        AddWindow(d, Kind::ComboBox, kRecentFolders, d.hookDialog, nullptr);  // the shortcut folders
    }
    if (!withTemplate && !withReadOnly)
        return;
    GtkWidget *area = gtk.box_new(GTK_ORIENTATION_VERTICAL, 4);
    if (withTemplate) {
        d.hookDialog->widget = area;
        AddWindow(d, Kind::Static, stc32, d.hookDialog, nullptr);
        GtkWidget *row = gtk.box_new(GTK_ORIENTATION_HORIZONTAL, 6);
        GtkWidget *expand = gtk.button_new_with_label("+");
        GtkWidget *recent = gtk.combo_box_text_new();
        GtkWidget *folder = gtk.label_new("");
        gtk.label_set_xalign(As<GtkLabel>(folder), 0);
        gtk.box_pack_start(As<GtkBox>(row), expand, FALSE, FALSE, 0);
        gtk.box_pack_start(As<GtkBox>(row), recent, TRUE, TRUE, 0);
        gtk.box_pack_start(As<GtkBox>(area), row, FALSE, FALSE, 0);
        gtk.box_pack_start(As<GtkBox>(area), folder, FALSE, FALSE, 0);
        DialogWindow *button = AddWindow(d, Kind::Button, kExpandButton, d.hookDialog, expand);
        DialogWindow *combo = AddWindow(d, Kind::ComboBox, kRecentFolders, d.hookDialog, recent);
        AddWindow(d, Kind::Static, kFolderText, d.hookDialog, folder);
        if (button != nullptr)
            Connect(gtk, expand, "clicked", OnControlClicked, button);
        if (combo != nullptr)
            Connect(gtk, recent, "changed", OnComboChanged, combo);
    }
    if (withReadOnly) {
        d.readOnlyBox = gtk.check_button_new_with_label("Open as read-only");
        gtk.toggle_button_set_active(As<GtkToggleButton>(d.readOnlyBox), (d.record->Flags & OFN_READONLY) != 0);
        gtk.box_pack_start(As<GtkBox>(area), d.readOnlyBox, FALSE, FALSE, 0);
        AddWindow(d, Kind::CheckBox, 0x410, d.frame, d.readOnlyBox);  // chx1
    }
    gtk.widget_show_all(area);
    gtk.file_chooser_set_extra_widget(As<GtkFileChooser>(d.chooser), area);
}

// The start folder and name: a path in lpstrFile wins over
// lpstrInitialDir, else the process's current folder.
void SetStart(Dialog &d) {
    const GtkLibrary &gtk = d.gtk;
    const std::string given = d.record->lpstrFile != nullptr ? d.record->lpstrFile : "";
    char path[4096];
    std::string folder;
    std::string name = given;
    const size_t slash = given.rfind('\\');
    if (slash != std::string::npos && NativePath(given.substr(0, slash + 1).c_str(), path, sizeof path)) {
        folder = path;
        name = given.substr(slash + 1);
    } else if (d.record->lpstrInitialDir != nullptr && d.record->lpstrInitialDir[0] != '\0' &&
               NativePath(d.record->lpstrInitialDir, path, sizeof path)) {
        folder = path;
    } else if (getcwd(path, sizeof path) != nullptr) {
        folder = path;
    }
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    d.folder = folder;
    gtk.file_chooser_set_current_folder(As<GtkFileChooser>(d.chooser), folder.c_str());
    SetTextOf(*d.nameBox, name.c_str());
    if (!d.save && !name.empty()) {
        const std::string offered = Resolve(d, name);
        if (Exists(offered))
            gtk.file_chooser_select_filename(As<GtkFileChooser>(d.chooser), offered.c_str());
    }
}

// The dialog's size, as large as the common dialog of Windows with a
// template: GTK's own default fills most of a small screen.
const int kWidth = 760;
const int kHeight = 540;

// Gives the frame `width` x `height`, no more than the screen less 60
// pixels each way, in the middle of the screen.
void Place(Dialog &d, int width, int height) {
    if (ScreenWidth() > 0) {
        width = std::min(width, ScreenWidth() - 60);
        height = std::min(height, ScreenHeight() - 60);
    }
    const int x = std::max(0, (ScreenWidth() - width) / 2), y = std::max(0, (ScreenHeight() - height) / 2);
    d.gtk.window_move(As<GtkWindow>(d.chooser), x, y);
    d.gtk.window_resize(As<GtkWindow>(d.chooser), width, height);
    d.rect = {x, y, x + width, y + height};
}

// Runs GTK until the window system has placed the frame, or for two
// seconds without word.
void AwaitPlacement(Dialog &d) {
    d.configured = false;
    d.waited = false;
    const guint wait = d.gtk.timeout_add(2000, StopWaiting, &d);
    while (!d.configured && !d.waited)
        d.gtk.main_context_iteration(nullptr, TRUE);
    if (!d.waited)
        d.gtk.source_remove(wait);
}

bool Build(Dialog &d) {
    const GtkLibrary &gtk = d.gtk;
    const OPENFILENAMEA &r = *d.record;
    const char *title = r.lpstrTitle != nullptr ? r.lpstrTitle : (d.save ? "Save As" : "Open");
    d.chooser = gtk.file_chooser_dialog_new(title, nullptr,
                                            d.save ? GTK_FILE_CHOOSER_ACTION_SAVE : GTK_FILE_CHOOSER_ACTION_OPEN,
                                            "_Cancel", GTK_RESPONSE_CANCEL, d.save ? "_Save" : "_Open",
                                            GTK_RESPONSE_ACCEPT, nullptr);
    if (d.chooser == nullptr)
        return false;
    GtkFileChooser *chooser = As<GtkFileChooser>(d.chooser);
    gtk.file_chooser_set_local_only(chooser, TRUE);
    gtk.file_chooser_set_select_multiple(chooser, !d.save && (r.Flags & OFN_ALLOWMULTISELECT) != 0);
    d.frame = AddWindow(d, Kind::Frame, 0, nullptr, d.chooser);
    if (d.frame == nullptr)
        return false;
    d.hookDialog = AddWindow(d, Kind::HookDialog, 0, d.frame, nullptr);
    d.nameBox = AddWindow(d, Kind::NameBox, edt1, d.frame, nullptr);
    AddWindow(d, Kind::FileList, lst2, d.frame, nullptr);
    AddWindow(d, Kind::Button, IDOK, d.frame, gtk.dialog_get_widget_for_response(As<GtkDialog>(d.chooser), GTK_RESPONSE_ACCEPT));
    AddWindow(d, Kind::Button, IDCANCEL, d.frame, gtk.dialog_get_widget_for_response(As<GtkDialog>(d.chooser), GTK_RESPONSE_CANCEL));
    if (d.hookDialog == nullptr || d.nameBox == nullptr)
        return false;
    AddFilters(d);
    AddExtraArea(d);
    SetStart(d);

    gtk.window_set_default_size(As<GtkWindow>(d.chooser), kWidth, kHeight);
    Place(d, kWidth, kHeight);

    Connect(gtk, d.chooser, "response", OnResponse, &d);
    Connect(gtk, d.chooser, "current-folder-changed", OnFolderChanged, &d);
    Connect(gtk, d.chooser, "selection-changed", OnSelectionChanged, &d);
    Connect(gtk, d.chooser, "configure-event", OnConfigure, &d);
    Connect(gtk, d.chooser, "delete-event", OnDelete, &d);
    gtk.dialog_set_default_response(As<GtkDialog>(d.chooser), GTK_RESPONSE_ACCEPT);
    return true;
}

void Destroy(Dialog &d) {
    for (auto &w : d.windows) {
        ForgetDialogWindow(w->handle);
        DestroyWindow(w->handle);
    }
    if (d.chooser != nullptr) {
        d.gtk.widget_destroy(d.chooser);
        while (d.gtk.main_context_pending(nullptr))
            d.gtk.main_context_iteration(nullptr, FALSE);
    }
}

BOOL RunDialog(LPOPENFILENAMEA record, bool save) {
    if (record == nullptr || !KnownSize(record->lStructSize)) {
        dialogError = CDERR_STRUCTSIZE;
        return FALSE;
    }
    const GtkLibrary *gtk = StartGtk();
    dialogError = CDERR_INITIALIZATION;
    if (gtk == nullptr)
        return FALSE;
    Dialog d(*gtk, record, save);
    if (!Build(d)) {
        Destroy(d);
        return FALSE;
    }
    dialogError = 0;
    // The chooser takes a size of its own when it maps, so it is shown
    // first, given its size again, and the hook hears of it once the
    // window system has placed it: its rectangle is then the real one.
    gtk->widget_show(d.chooser);
    gtk->window_present(As<GtkWindow>(d.chooser));
    AwaitPlacement(d);
    if (d.rect.right - d.rect.left != kWidth || d.rect.bottom - d.rect.top != kHeight) {
        Place(d, kWidth, kHeight);
        AwaitPlacement(d);
    }
    Guarded(d, [&] {
        SendToWindow(d.hookDialog, WM_INITDIALOG, 0, reinterpret_cast<LPARAM>(record));
        Notify(d, CDN_INITDONE);
        SendToWindow(d.frame, WM_SHOWWINDOW, TRUE, 0);
        d.live = true;
        NotifyFolder(d);
        if (d.selectedEarly)
            Notify(d, CDN_SELCHANGE);
    });
    const guint pump = gtk->timeout_add(10, PumpMessages, &d);
    while (!d.ended)
        gtk->main_context_iteration(nullptr, TRUE);
    gtk->source_remove(pump);
    Guarded(d, [&] {
        SendToWindow(d.hookDialog, WM_DESTROY, 0, 0);
        SendToWindow(d.frame, WM_DESTROY, 0, 0);
    });
    Destroy(d);
    if (d.failure)
        std::rethrow_exception(d.failure);
    return d.result;
}

}  // namespace

BOOL GetOpenFileNameA(LPOPENFILENAMEA record) {
    return RunDialog(record, false);
}

BOOL GetSaveFileNameA(LPOPENFILENAMEA record) {
    return RunDialog(record, true);
}

DWORD CommDlgExtendedError(void) {
    return dialogError;
}
