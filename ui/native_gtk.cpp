#include <wx/menuitem.h>
#include <wx/window.h>

#include <gtk/gtk.h>

#include "ui/native.h"

namespace vnt::ui {

void SetAccessibleName(wxWindow& control, const std::string& name) {
  const auto set = [&](GtkWidget* widget) {
    atk_object_set_name(gtk_widget_get_accessible(widget), name.c_str());
  };
  set(control.m_widget);
  if (!GTK_IS_SCROLLED_WINDOW(control.m_widget)) return;
  // A list stands in what scrolls it.
  GtkWidget* const inner = gtk_bin_get_child(GTK_BIN(control.m_widget));
  if (GTK_IS_TREE_VIEW(inner)) set(inner);
}

void SetAccessibleDescription(wxWindow& control, const std::string& description) {
  atk_object_set_description(gtk_widget_get_accessible(control.m_widget), description.c_str());
}

void SetAlertRole(wxWindow& box) {
  atk_object_set_role(gtk_widget_get_accessible(box.m_widget), ATK_ROLE_ALERT);
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
