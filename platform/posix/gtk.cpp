// GTK 3 loaded at run time; see gtk.h.
//
// libgtk-3.so.0 is opened with RTLD_LOCAL, so that its symbols never take
// the place of an application's own, and it is never closed: GTK cannot be
// unloaded once started.  Before GTK starts:
//
// - gtk_disable_setlocale keeps the program's locale.  GTK would otherwise
//   switch the whole process to the user's, and with it the decimal point
//   of every number that the library formats or parses.
// - NO_AT_BRIDGE=1, unless the program set it, keeps GTK from looking for
//   the accessibility bus, which without a session bus costs a timeout of
//   many seconds on a bare X server.
// - GSETTINGS_BACKEND=memory, unless the program set it, keeps the
//   chooser's own settings (its size, its sort order) in the process: the
//   dialog starts the same way each time, as the caller's record says, and
//   no session bus is needed to store them.
//
// A process with neither DISPLAY nor WAYLAND_DISPLAY never loads GTK at
// all: there is nothing it could show.
#include "platform/posix/gtk.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <atomic>
#include <mutex>

#include "platform/win32.h"

namespace {

template <typename Function>
bool Bind(void *library, Function &slot, const char *name) {
    slot = reinterpret_cast<Function>(dlsym(library, name));
    return slot != nullptr;
}

bool BindAll(void *library, GtkLibrary &gtk) {
    return Bind(library, gtk.disable_setlocale, "gtk_disable_setlocale") &&
           Bind(library, gtk.init_check, "gtk_init_check") &&
           Bind(library, gtk.file_chooser_dialog_new, "gtk_file_chooser_dialog_new") &&
           Bind(library, gtk.dialog_get_widget_for_response, "gtk_dialog_get_widget_for_response") &&
           Bind(library, gtk.dialog_set_default_response, "gtk_dialog_set_default_response") &&
           Bind(library, gtk.widget_destroy, "gtk_widget_destroy") &&
           Bind(library, gtk.widget_show, "gtk_widget_show") &&
           Bind(library, gtk.widget_show_all, "gtk_widget_show_all") &&
           Bind(library, gtk.widget_hide, "gtk_widget_hide") &&
           Bind(library, gtk.widget_grab_focus, "gtk_widget_grab_focus") &&
           Bind(library, gtk.widget_queue_draw, "gtk_widget_queue_draw") &&
           Bind(library, gtk.widget_get_allocation, "gtk_widget_get_allocation") &&
           Bind(library, gtk.widget_get_realized, "gtk_widget_get_realized") &&
           Bind(library, gtk.widget_translate_coordinates, "gtk_widget_translate_coordinates") &&
           Bind(library, gtk.window_get_title, "gtk_window_get_title") &&
           Bind(library, gtk.window_set_title, "gtk_window_set_title") &&
           Bind(library, gtk.window_move, "gtk_window_move") &&
           Bind(library, gtk.window_resize, "gtk_window_resize") &&
           Bind(library, gtk.window_set_default_size, "gtk_window_set_default_size") &&
           Bind(library, gtk.window_set_icon, "gtk_window_set_icon") &&
           Bind(library, gtk.window_present, "gtk_window_present") &&
           Bind(library, gtk.button_get_label, "gtk_button_get_label") &&
           Bind(library, gtk.button_set_label, "gtk_button_set_label") &&
           Bind(library, gtk.button_set_image, "gtk_button_set_image") &&
           Bind(library, gtk.button_set_always_show_image, "gtk_button_set_always_show_image") &&
           Bind(library, gtk.button_new_with_label, "gtk_button_new_with_label") &&
           Bind(library, gtk.button_clicked, "gtk_button_clicked") &&
           Bind(library, gtk.check_button_new_with_label, "gtk_check_button_new_with_label") &&
           Bind(library, gtk.toggle_button_get_active, "gtk_toggle_button_get_active") &&
           Bind(library, gtk.toggle_button_set_active, "gtk_toggle_button_set_active") &&
           Bind(library, gtk.combo_box_text_new, "gtk_combo_box_text_new") &&
           Bind(library, gtk.combo_box_text_append_text, "gtk_combo_box_text_append_text") &&
           Bind(library, gtk.combo_box_text_remove_all, "gtk_combo_box_text_remove_all") &&
           Bind(library, gtk.combo_box_get_active, "gtk_combo_box_get_active") &&
           Bind(library, gtk.combo_box_set_active, "gtk_combo_box_set_active") &&
           Bind(library, gtk.label_new, "gtk_label_new") &&
           Bind(library, gtk.label_get_text, "gtk_label_get_text") &&
           Bind(library, gtk.label_set_text, "gtk_label_set_text") &&
           Bind(library, gtk.label_set_xalign, "gtk_label_set_xalign") &&
           Bind(library, gtk.box_new, "gtk_box_new") &&
           Bind(library, gtk.box_pack_start, "gtk_box_pack_start") &&
           Bind(library, gtk.image_new_from_pixbuf, "gtk_image_new_from_pixbuf") &&
           Bind(library, gtk.file_chooser_set_select_multiple, "gtk_file_chooser_set_select_multiple") &&
           Bind(library, gtk.file_chooser_set_local_only, "gtk_file_chooser_set_local_only") &&
           Bind(library, gtk.file_chooser_set_current_folder, "gtk_file_chooser_set_current_folder") &&
           Bind(library, gtk.file_chooser_get_current_folder, "gtk_file_chooser_get_current_folder") &&
           Bind(library, gtk.file_chooser_set_current_name, "gtk_file_chooser_set_current_name") &&
           Bind(library, gtk.file_chooser_get_current_name, "gtk_file_chooser_get_current_name") &&
           Bind(library, gtk.file_chooser_select_filename, "gtk_file_chooser_select_filename") &&
           Bind(library, gtk.file_chooser_get_filenames, "gtk_file_chooser_get_filenames") &&
           Bind(library, gtk.file_chooser_add_filter, "gtk_file_chooser_add_filter") &&
           Bind(library, gtk.file_chooser_set_filter, "gtk_file_chooser_set_filter") &&
           Bind(library, gtk.file_chooser_get_filter, "gtk_file_chooser_get_filter") &&
           Bind(library, gtk.file_chooser_add_shortcut_folder, "gtk_file_chooser_add_shortcut_folder") &&
           Bind(library, gtk.file_chooser_set_extra_widget, "gtk_file_chooser_set_extra_widget") &&
           Bind(library, gtk.file_filter_new, "gtk_file_filter_new") &&
           Bind(library, gtk.file_filter_set_name, "gtk_file_filter_set_name") &&
           Bind(library, gtk.file_filter_add_custom, "gtk_file_filter_add_custom") &&
           Bind(library, gtk.get_current_event_time, "gtk_get_current_event_time") &&
           Bind(library, gtk.screen_get_default, "gdk_screen_get_default") &&
           Bind(library, gtk.screen_get_root_window, "gdk_screen_get_root_window") &&
           Bind(library, gtk.window_get_width, "gdk_window_get_width") &&
           Bind(library, gtk.window_get_height, "gdk_window_get_height") &&
           Bind(library, gtk.pixbuf_new, "gdk_pixbuf_new") &&
           Bind(library, gtk.pixbuf_get_pixels, "gdk_pixbuf_get_pixels") &&
           Bind(library, gtk.pixbuf_get_rowstride, "gdk_pixbuf_get_rowstride") &&
           Bind(library, gtk.signal_connect_data, "g_signal_connect_data") &&
           Bind(library, gtk.main_context_iteration, "g_main_context_iteration") &&
           Bind(library, gtk.main_context_pending, "g_main_context_pending") &&
           Bind(library, gtk.timeout_add, "g_timeout_add") &&
           Bind(library, gtk.source_remove, "g_source_remove") &&
           Bind(library, gtk.object_unref, "g_object_unref") &&
           Bind(library, gtk.slist_free, "g_slist_free") &&
           Bind(library, gtk.free, "g_free");
}

bool HasDisplay() {
    const char *x11 = getenv("DISPLAY");
    const char *wayland = getenv("WAYLAND_DISPLAY");
    return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

std::mutex startLock;
GtkLibrary *library = nullptr;  // bound once, never freed
bool started = false;
DWORD gtkThread = 0;
std::atomic<int> screenWidth{0};
std::atomic<int> screenHeight{0};

}  // namespace

const GtkLibrary *StartGtk() {
    std::lock_guard<std::mutex> hold(startLock);
    if (started) {
        if (gtkThread != GetCurrentThreadId())
            return nullptr;
    } else {
        if (!HasDisplay())
            return nullptr;
        if (library == nullptr) {
            void *handle = dlopen("libgtk-3.so.0", RTLD_NOW | RTLD_LOCAL);
            if (handle == nullptr)
                return nullptr;
            GtkLibrary *bound = new GtkLibrary();
            if (!BindAll(handle, *bound)) {
                delete bound;
                return nullptr;  // the handle stays: GTK is never unloaded
            }
            library = bound;
            library->disable_setlocale();
        }
        setenv("NO_AT_BRIDGE", "1", 0);
        setenv("GSETTINGS_BACKEND", "memory", 0);
        if (!library->init_check(nullptr, nullptr))
            return nullptr;
        started = true;
        gtkThread = GetCurrentThreadId();
    }
    GdkScreen *screen = library->screen_get_default();
    GdkWindow *root = screen != nullptr ? library->screen_get_root_window(screen) : nullptr;
    screenWidth = root != nullptr ? library->window_get_width(root) : 0;
    screenHeight = root != nullptr ? library->window_get_height(root) : 0;
    return library;
}

int ScreenWidth() {
    return screenWidth;
}

int ScreenHeight() {
    return screenHeight;
}
