#pragma once

// Each subcommand adds itself to the application and returns the function
// that runs it once the command line has been parsed. Runs return the exit
// code or throw ToolError; main maps everything else.

#include <CLI/CLI.hpp>

#include <functional>

namespace relief::tool {

using CommandRun = std::function<int()>;

CommandRun AddDemoCommand(CLI::App& app);
CommandRun AddMeshCommand(CLI::App& app);
CommandRun AddRasterizeCommand(CLI::App& app);
CommandRun AddRefineCommand(CLI::App& app);
CommandRun AddInfoCommand(CLI::App& app);
CommandRun AddViewCommand(CLI::App& app);

}  // namespace relief::tool
