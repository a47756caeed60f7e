// relief: the library's main job on files. See docs/tool.md.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "errors.h"
#include "heap_policy.h"
#include "io/atomic_file.h"
#include "progress.h"
#include "relief/CArchive.h"

namespace {

int Run(int argc, char** argv) {
  using namespace relief::tool;
  CLI::App app("relief: height fields to meshes and back, with the figures that say how good they are", "relief");
  app.set_version_flag("--version", "relief " RELIEF_TOOL_VERSION);
  app.add_flag("-q,--quiet", Output().quiet, "print nothing but errors");
  app.require_subcommand(1);
  app.fallthrough();  // --quiet may follow the subcommand too

  const std::vector<std::pair<const char*, CommandRun>> commands = {
      {"demo", AddDemoCommand(app)},   {"mesh", AddMeshCommand(app)}, {"rasterize", AddRasterizeCommand(app)},
      {"refine", AddRefineCommand(app)}, {"info", AddInfoCommand(app)}, {"view", AddViewCommand(app)}};

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and --version end parsing with code 0; everything else is a
    // usage error, reported like every other error (one line, "relief: ")
    // with exit code 2.
    if (e.get_exit_code() == 0) return app.exit(e) == 0 ? kExitDone : kExitBadInput;
    std::string message = e.what();
    for (char& c : message)
      if (c == '\n' || c == '\r') c = ' ';
    std::fprintf(stderr, "relief: %s (see relief --help)\n", message.c_str());
    return kExitBadInput;
  }
  for (const auto& [name, run] : commands)
    if (app.got_subcommand(name)) return run();
  return kExitBadInput;
}

}  // namespace

int main(int argc, char** argv) {
  relief::tool::MapLargeBlocks();
  relief::tool::RemoveTemporariesOnSignals();
  try {
    return Run(argc, argv);
  } catch (const relief::tool::ToolError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "relief: %s\n", e.what());
    return e.ExitCode();
  } catch (const std::bad_alloc&) {  // CMemoryException derives from it
    std::fflush(stdout);
    std::fprintf(stderr, "relief: out of memory\n");
    return relief::tool::kExitFailed;
  } catch (const CArchiveException& e) {
    std::fprintf(stderr, "relief: archive error: %s\n", e.what());
    return relief::tool::kExitFailed;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "relief: %s\n", e.what());
    return relief::tool::kExitFailed;
  }
}
