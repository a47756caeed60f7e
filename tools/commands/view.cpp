// relief view: meshes, height fields and contours into one page for a browser.

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "commands/commands.h"
#include "errors.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "progress.h"
#include "relief/CHTriangulationDlg.h"
#include "view_page.h"

namespace relief::tool {

namespace {

struct ViewArgs {
  std::vector<std::string> inputs;
  std::string output;
  long long limit = 2000000;
};

int RunView(const ViewArgs& args) {
  if (args.limit < 1000) throw BadUsage("--max-triangles must be at least 1000");
  // The page would replace the very data it was to show.
  for (const auto& input : args.inputs) {
    std::error_code ec;
    if (std::filesystem::equivalent(input, args.output, ec))
      throw BadInput(args.output, "is one of the inputs; give the page a name of its own (.html)");
  }
  CHTriangulationDlg view;
  view.SetTriangleLimit(args.limit);
  view.SetTitle(args.inputs.size() == 1 ? std::filesystem::path(args.inputs[0]).filename().string()
                                        : "relief view: " + std::to_string(args.inputs.size()) + " files");
  // Every input is read before anything is written: a bad one leaves no page.
  for (const auto& input : args.inputs) AddFileToView(view, input);
  WriteViewPage(view, args.output);
  Say("relief view: %d layer(s) written to %s\n", view.GetNumLayers(), args.output.c_str());
  return kExitDone;
}

}  // namespace

CommandRun AddViewCommand(CLI::App& app) {
  auto args = std::make_shared<ViewArgs>();
  CLI::App* sub = app.add_subcommand("view", "one self-contained web page showing meshes, height fields and "
                                             "contours (open it in any browser)");
  sub->add_option("inputs", args->inputs,
                  std::string("meshes (") + kMeshExtensions + "), height fields (" + kRasterExtensions +
                      "), polygons (.rpoly)")
      ->required();
  sub->add_option("-o,--output", args->output, "the page to write (.html)")->required();
  sub->add_option("--max-triangles", args->limit, "triangles per layer before it is decimated for display")
      ->capture_default_str();
  return [args] { return RunView(*args); };
}

}  // namespace relief::tool
