#include "apps/gallery/GalleryFrame.h"

namespace Vespra::Wx {

GalleryFrame::GalleryFrame() : wxFrame(nullptr, wxID_ANY, "Vespra widget gallery") {}

} // namespace Vespra::Wx
