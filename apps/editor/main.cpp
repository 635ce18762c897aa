#include <cstdio>

#include "foundation/Exception.h"
#include "gui/ImageEditorGui.h"

int main(int argc, char** argv) {
    try {
        return Vespra::Wx::runImageEditor(argc, argv);
    } catch (const Vespra::Exception& error) {
        std::fprintf(stderr, "vespra-image-editor: %s\n", error.what());
        return 1;
    }
}
