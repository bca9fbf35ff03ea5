// The second process: shows nothing on a screen, but looks at every frame that the camera hands over.
// Does not load the library.
#include <CLI/CLI.hpp>
#include <string>

#include "run_main.h"
#include "viewer.h"

int main(int nCount, char** ppArguments) {
    return demo::RunMain("demo_viewer", [&] {
        CLI::App app{"Looks at the frames that demo_camera hands over; started by it"};
        int nSocket = -1;
        std::string folder;
        app.add_option("--socket", nSocket, "Descriptor of the socket to the camera")->required();
        app.add_option("--folder", folder, "Folder for the contact sheet's pictures")->required();
        CLI11_PARSE(app, nCount, ppArguments);
        demo::View(nSocket, folder);
        return 0;
    });
}
