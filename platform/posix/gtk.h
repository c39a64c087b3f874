// GTK 3, loaded when the first file dialog opens.
//
// The library links no GUI library: it loads on a machine that has none,
// and only a program that opens a file dialog pays for GTK.  The headers
// give the types and the signatures; the functions are looked up once with
// dlopen and dlsym, into a table whose members carry the signatures of the
// real functions, so that every call is checked by the compiler as if GTK
// were linked.
#ifndef CVZ_PLATFORM_POSIX_GTK_H
#define CVZ_PLATFORM_POSIX_GTK_H

#include <gtk/gtk.h>

struct GtkLibrary {
    decltype(&gtk_disable_setlocale) disable_setlocale;
    decltype(&gtk_init_check) init_check;
    decltype(&gtk_file_chooser_dialog_new) file_chooser_dialog_new;
    decltype(&gtk_dialog_get_widget_for_response) dialog_get_widget_for_response;
    decltype(&gtk_dialog_set_default_response) dialog_set_default_response;
    decltype(&gtk_widget_destroy) widget_destroy;
    decltype(&gtk_widget_show) widget_show;
    decltype(&gtk_widget_show_all) widget_show_all;
    decltype(&gtk_widget_hide) widget_hide;
    decltype(&gtk_widget_grab_focus) widget_grab_focus;
    decltype(&gtk_widget_queue_draw) widget_queue_draw;
    decltype(&gtk_widget_get_allocation) widget_get_allocation;
    decltype(&gtk_widget_get_realized) widget_get_realized;
    decltype(&gtk_widget_translate_coordinates) widget_translate_coordinates;
    decltype(&gtk_window_get_title) window_get_title;
    decltype(&gtk_window_set_title) window_set_title;
    decltype(&gtk_window_move) window_move;
    decltype(&gtk_window_resize) window_resize;
    decltype(&gtk_window_set_default_size) window_set_default_size;
    decltype(&gtk_window_set_icon) window_set_icon;
    decltype(&gtk_window_present) window_present;
    decltype(&gtk_button_get_label) button_get_label;
    decltype(&gtk_button_set_label) button_set_label;
    decltype(&gtk_button_set_image) button_set_image;
    decltype(&gtk_button_set_always_show_image) button_set_always_show_image;
    decltype(&gtk_button_new_with_label) button_new_with_label;
    decltype(&gtk_button_clicked) button_clicked;
    decltype(&gtk_check_button_new_with_label) check_button_new_with_label;
    decltype(&gtk_toggle_button_get_active) toggle_button_get_active;
    decltype(&gtk_toggle_button_set_active) toggle_button_set_active;
    decltype(&gtk_combo_box_text_new) combo_box_text_new;
    decltype(&gtk_combo_box_text_append_text) combo_box_text_append_text;
    decltype(&gtk_combo_box_text_remove_all) combo_box_text_remove_all;
    decltype(&gtk_combo_box_get_active) combo_box_get_active;
    decltype(&gtk_combo_box_set_active) combo_box_set_active;
    decltype(&gtk_label_new) label_new;
    decltype(&gtk_label_get_text) label_get_text;
    decltype(&gtk_label_set_text) label_set_text;
    decltype(&gtk_label_set_xalign) label_set_xalign;
    decltype(&gtk_box_new) box_new;
    decltype(&gtk_box_pack_start) box_pack_start;
    decltype(&gtk_image_new_from_pixbuf) image_new_from_pixbuf;
    decltype(&gtk_file_chooser_set_select_multiple) file_chooser_set_select_multiple;
    decltype(&gtk_file_chooser_set_local_only) file_chooser_set_local_only;
    decltype(&gtk_file_chooser_set_current_folder) file_chooser_set_current_folder;
    decltype(&gtk_file_chooser_get_current_folder) file_chooser_get_current_folder;
    decltype(&gtk_file_chooser_set_current_name) file_chooser_set_current_name;
    decltype(&gtk_file_chooser_get_current_name) file_chooser_get_current_name;
    decltype(&gtk_file_chooser_select_filename) file_chooser_select_filename;
    decltype(&gtk_file_chooser_get_filenames) file_chooser_get_filenames;
    decltype(&gtk_file_chooser_add_filter) file_chooser_add_filter;
    decltype(&gtk_file_chooser_set_filter) file_chooser_set_filter;
    decltype(&gtk_file_chooser_get_filter) file_chooser_get_filter;
    decltype(&gtk_file_chooser_add_shortcut_folder) file_chooser_add_shortcut_folder;
    decltype(&gtk_file_chooser_set_extra_widget) file_chooser_set_extra_widget;
    decltype(&gtk_file_filter_new) file_filter_new;
    decltype(&gtk_file_filter_set_name) file_filter_set_name;
    decltype(&gtk_file_filter_add_custom) file_filter_add_custom;
    decltype(&gtk_get_current_event_time) get_current_event_time;
    decltype(&gdk_screen_get_default) screen_get_default;
    decltype(&gdk_screen_get_root_window) screen_get_root_window;
    decltype(&gdk_window_get_width) window_get_width;
    decltype(&gdk_window_get_height) window_get_height;
    decltype(&gdk_pixbuf_new) pixbuf_new;
    decltype(&gdk_pixbuf_get_pixels) pixbuf_get_pixels;
    decltype(&gdk_pixbuf_get_rowstride) pixbuf_get_rowstride;
    decltype(&g_signal_connect_data) signal_connect_data;
    decltype(&g_main_context_iteration) main_context_iteration;
    decltype(&g_main_context_pending) main_context_pending;
    decltype(&g_timeout_add) timeout_add;
    decltype(&g_source_remove) source_remove;
    decltype(&g_object_unref) object_unref;
    decltype(&g_slist_free) slist_free;
    decltype(&g_free) free;
};

// GTK, started on its display, for the calling thread: null when GTK 3 is
// not installed, when there is no display to open, or when GTK was started
// on another thread (GTK belongs to one thread).  The first call decides;
// a failed start is tried again at the next call, since a display may come.
const GtkLibrary *StartGtk();

// The screen's size while GTK has a display open, else 0 each way.
int ScreenWidth();
int ScreenHeight();

// Connects `handler` to `signal` of `instance`.
template <typename Handler>
void Connect(const GtkLibrary &gtk, void *instance, const char *signal, Handler handler, void *data) {
    gtk.signal_connect_data(instance, signal, reinterpret_cast<GCallback>(handler), data, nullptr,
                            static_cast<GConnectFlags>(0));
}

#endif
