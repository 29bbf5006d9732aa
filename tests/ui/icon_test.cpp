// The pictures that are installed are the icon that the window draws.

#include <gtest/gtest.h>
#include <wx/bmpbndl.h>
#include <wx/icon.h>
#include <wx/iconbndl.h>
#include <wx/image.h>

#include <cstdlib>
#include <string>

#include "ui/app_icon.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

const std::string kIcons = VNT_SOURCE_FOLDER "/packaging/desktop/icons/";

wxImage Drawn(int edge) {
  wxBitmap bitmap;
  bitmap.CopyFromIcon(ProgramIcon().GetIconOfExactSize(wxSize(edge, edge)));
  return bitmap.ConvertToImage();
}

// The mean difference of a channel, of 255; what is transparent has no colour.
double Difference(const wxImage& a, const wxImage& b) {
  if (!a.IsOk() || !b.IsOk() || a.GetSize() != b.GetSize() || !a.HasAlpha() || !b.HasAlpha()) return 255;
  double sum = 0;
  const int pixels = a.GetWidth() * a.GetHeight();
  for (int i = 0; i < pixels; ++i) {
    const int alpha_a = a.GetAlpha()[i], alpha_b = b.GetAlpha()[i];
    sum += std::abs(alpha_a - alpha_b);
    for (int channel = 0; channel < 3; ++channel) {
      sum +=
          std::abs(a.GetData()[3 * i + channel] * alpha_a - b.GetData()[3 * i + channel] * alpha_b) / 255.0;
    }
  }
  return sum / (4.0 * pixels);
}

TEST(IconTest, InstalledPicturesAreTheWindowsIcon) {
  wxImage::AddHandler(new wxPNGHandler);
  for (const int edge : {16, 24, 32, 48, 64, 128, 256}) {
    const wxImage picture(ToWx(kIcons + std::to_string(edge) + ".png"), wxBITMAP_TYPE_PNG);
    EXPECT_LT(Difference(Drawn(edge), picture), 0.5) << edge;
  }
  // Another program draws its edges otherwise.
  const wxSize size(256, 256);
  const wxBitmapBundle drawing = wxBitmapBundle::FromSVGFile(ToWx(kIcons + "vntfixdb.svg"), size);
  ASSERT_TRUE(drawing.IsOk());
  EXPECT_LT(Difference(Drawn(256), drawing.GetBitmap(size).ConvertToImage()), 2.0);
}

}  // namespace
}  // namespace vnt::ui
