#include "ui/app_icon.h"

#include <wx/brush.h>
#include <wx/graphics.h>
#include <wx/icon.h>
#include <wx/image.h>
#include <wx/pen.h>

#include <cstring>
#include <memory>

namespace vnt::ui {
namespace {

// A satellite on its orbit behind a tick, on a night-blue tile. Lengths are parts of the edge.
wxImage DrawIcon(int edge) {
  wxImage image(edge, edge);
  image.InitAlpha();
  std::memset(image.GetAlpha(), 0, static_cast<std::size_t>(edge) * static_cast<std::size_t>(edge));
  {
    const std::unique_ptr<wxGraphicsContext> canvas(wxGraphicsContext::Create(image));
    canvas->Scale(edge, edge);
    canvas->SetBrush(
        canvas->CreateLinearGradientBrush(0, 0, 0, 1, wxColour(38, 92, 150), wxColour(16, 42, 84)));
    canvas->SetPen(wxNullPen);
    canvas->DrawRoundedRectangle(0.02, 0.02, 0.96, 0.96, 0.18);

    canvas->PushState();
    canvas->Translate(0.5, 0.5);
    canvas->Rotate(-0.5);
    canvas->SetBrush(wxNullBrush);
    canvas->SetPen(canvas->CreatePen(wxGraphicsPenInfo(wxColour(150, 196, 240)).Width(0.045)));
    canvas->DrawEllipse(-0.43, -0.21, 0.86, 0.42);
    canvas->SetPen(wxNullPen);
    canvas->SetBrush(wxBrush(*wxWHITE));
    canvas->DrawRectangle(0.20, -0.24, 0.15, 0.15);
    canvas->DrawRectangle(0.06, -0.20, 0.11, 0.07);
    canvas->DrawRectangle(0.38, -0.20, 0.11, 0.07);
    canvas->PopState();

    wxGraphicsPath tick = canvas->CreatePath();
    tick.MoveToPoint(0.24, 0.56);
    tick.AddLineToPoint(0.43, 0.75);
    tick.AddLineToPoint(0.76, 0.38);
    canvas->SetPen(canvas->CreatePen(
        wxGraphicsPenInfo(wxColour(126, 217, 87)).Width(0.12).Cap(wxCAP_ROUND).Join(wxJOIN_ROUND)));
    canvas->StrokePath(tick);
  }
  return image;
}

}  // namespace

wxIconBundle ProgramIcon() {
  wxIconBundle bundle;
  for (const int edge : {16, 24, 32, 48, 64, 128, 256}) {
    wxIcon icon;
    icon.CopyFromBitmap(wxBitmap(DrawIcon(edge)));
    bundle.AddIcon(icon);
  }
  return bundle;
}

}  // namespace vnt::ui
