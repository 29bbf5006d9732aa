#include <wx/menuitem.h>
#include <wx/window.h>

#include <gtk/gtk.h>

#include "ui/native.h"

namespace vnt::ui {

void SetAccessibleName(wxWindow& control, const std::string& name) {
  // Lists are framed by what scrolls them; the reader is on what is in there.
  GtkWidget* widget = control.m_widget;
  if (GTK_IS_SCROLLED_WINDOW(widget)) {
    GtkWidget* const inner = gtk_bin_get_child(GTK_BIN(widget));
    if (GTK_IS_TREE_VIEW(inner)) widget = inner;
  }
  atk_object_set_name(gtk_widget_get_accessible(widget), name.c_str());
}

void SetItemTooltip(wxMenuItem& item, const std::string& text) {
  gtk_widget_set_tooltip_text(item.GetMenuItem(), text.c_str());
}

void CloseNativeBoxes() {
  GList* const windows = gtk_window_list_toplevels();
  for (const GList* at = windows; at != nullptr; at = at->next) {
    auto* const window = static_cast<GtkWindow*>(at->data);
    if (GTK_IS_DIALOG(window) && gtk_window_get_modal(window)) {
      gtk_dialog_response(GTK_DIALOG(window), GTK_RESPONSE_DELETE_EVENT);
    }
  }
  g_list_free(windows);
}

}  // namespace vnt::ui
