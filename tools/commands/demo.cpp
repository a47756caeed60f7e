// relief demo: the library's typical request end to end on a synthetic tooth.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "demo_field.h"
#include "demo_steps.h"
#include "demo_view.h"
#include "errors.h"
#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_build.h"
#include "progress.h"
#include "raster_stats.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

namespace {

struct DemoArgs {
  std::string out = "relief-demo";
  float tolerance = 1.0f;
};

struct StepLine {
  std::string step, size, detail;
  double seconds;
};

int RunDemo(const DemoArgs& args) {
  RequirePositive("--max-error", args.tolerance);
  const std::filesystem::path dir = args.out;
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec || !std::filesystem::is_directory(dir)) throw BadInput(dir, "cannot create the output folder");

  std::vector<StepLine> steps;
  std::vector<std::filesystem::path> written;
  StepTimer total, timer;
  char text[160];

  // 1. The measured height field (synthesised) and its border contour.
  CSSEMatrix field;
  const DemoOutline outline = SynthesizeToothField(field);
  const RasterSummary fieldSummary = Summarize(field);
  std::snprintf(text, sizeof text, "heights %.1f .. %.1f", fieldSummary.minimum, fieldSummary.maximum);
  steps.push_back({"synthesise field", "512 x 512 px", text, timer.Seconds()});

  // 2. Contour drawn and filled into a mask; the field is cut with it.
  timer.Restart();
  CSSEMatrix mask, contour;
  const std::int64_t maskPixels = BuildOutlineMask(outline, field.GetSizeX(), field.GetSizeY(), mask, contour);
  MaskField(field, mask);
  const RasterSummary masked = Summarize(field);
  std::snprintf(text, sizeof text, "%d corners, %lld px inside", static_cast<int>(outline.x.size()),
                static_cast<long long>(maskPixels));
  steps.push_back({"contour -> mask", std::to_string(masked.valid) + " valid px", text, timer.Seconds()});

  // 3. Full-resolution mesh, written out.
  timer.Restart();
  CHTriangulation mesh(&field, 0.0f, true, 1.0f, 1.0f, 1.0f);
  const std::int64_t used = CountUsedRecords(mesh);
  const std::filesystem::path meshPath = dir / "tooth.ply";
  WriteMesh(meshPath, mesh);
  written.push_back(meshPath);
  steps.push_back({"mesh (full res.)", std::to_string(used) + " triangles", "written as binary PLY",
                   timer.Seconds()});

  // 4. Scan conversion back into a height field, and the round-trip error.
  timer.Restart();
  CSSEMatrix roundTrip;
  mesh.SetScanConvResolution(1.0f, 1.0f, 1.0f);
  mesh.ScanConvertTriangulationMax(&roundTrip, 0.0f);
  SSEPoint origin;
  mesh.GetMinPoint(origin);
  const int ox = static_cast<int>(std::lround(origin.x)), oy = static_cast<int>(std::lround(origin.y));
  // The round trip is compared where the field has data and where it does
  // not: a cross stamp reaches one pixel past the outline.
  const ErrorFigures roundError = CompareRasters(field, roundTrip, ox, oy);
  std::snprintf(text, sizeof text, "max %.4f, rms %.4f", roundError.maxAbs, roundError.rms);
  steps.push_back({"scan-convert (max)", std::to_string(roundTrip.GetSizeX()) + " x " +
                                             std::to_string(roundTrip.GetSizeY()) + " px",
                   text, timer.Seconds()});

  // 5. Adaptive mesh: no valid pixel farther than the bound from it.
  timer.Restart();
  AdaptiveResult adaptive = MeshToMaxError(field, args.tolerance, dir / "tooth-adaptive.ply");
  if (adaptive.available) {
    written.push_back(dir / "tooth-adaptive.ply");
    std::snprintf(text, sizeof text, "E %.2f: max %.4f, rms %.4f", args.tolerance, adaptive.error.maxAbs,
                  adaptive.error.rms);
    steps.push_back({"adaptive mesh", std::to_string(adaptive.triangles) + " triangles", text, timer.Seconds()});
  } else {
    steps.push_back({"adaptive mesh", "-", adaptive.why, timer.Seconds()});
  }

  // 6. Data files for checking the figures, and previews.
  timer.Restart();
  CSSEMatrix difference;
  difference.Create(field.GetSizeX(), field.GetSizeY());
  float worst = 0.0f;
  for (int y = 0; y < field.GetSizeY(); ++y)
    for (int x = 0; x < field.GetSizeX(); ++x) {
      const int rx = x - ox, ry = y - oy;
      const float rt = rx < 0 || ry < 0 || rx >= roundTrip.GetSizeX() || ry >= roundTrip.GetSizeY()
                           ? 0.0f : roundTrip.GetPoint(rx, ry);
      const float d = std::fabs(rt - field.GetPoint(x, y));
      difference.SetPoint(x, y, d);
      worst = std::max(worst, d);
    }
  const std::filesystem::path files[] = {dir / "field.npy", dir / "roundtrip.npy"};
  WriteRaster(files[0], field);
  WriteRaster(files[1], roundTrip);
  WritePreviewPng(dir / "field.png", field, fieldSummary.minimum, fieldSummary.maximum);
  contour.AddMatrix(mask);  // mask 1, contour stamps on top of it 2
  WritePreviewPng(dir / "mask.png", contour, 0.0f, 2.0f);
  // The difference picture saturates at 2: larger values are the spill ring.
  WritePreviewPng(dir / "difference.png", difference, 0.0f, std::min(worst, 2.0f));
  for (const auto& f : files) written.push_back(f);
  written.push_back(dir / "field.png");
  written.push_back(dir / "mask.png");
  written.push_back(dir / "difference.png");
  written.push_back(WriteDemoView(dir, field, mesh, dir / "tooth-adaptive.ply", difference,
                                  fieldSummary.minimum - 20.0f));
  steps.push_back({"write files", std::to_string(written.size()) + " files", "npy data, previews, view.html",
                   timer.Seconds()});

  Say("relief demo: a synthetic tooth from height field to mesh and back\n\n");
  Say("  %-20s %-18s %-34s %8s\n", "step", "size", "result", "seconds");
  for (const auto& s : steps)
    Say("  %-20s %-18s %-34s %8.3f\n", s.step.c_str(), s.size.c_str(), s.detail.c_str(), s.seconds);
  Say("  %-20s %-18s %-34s %8.3f\n\n", "total", "", "", total.Seconds());
  Say("round trip: max error %.4f, rms %.4f over the %lld pixels both hold (scan raster at pixel %d, %d)\n",
      roundError.maxAbs, roundError.rms, static_cast<long long>(roundError.compared), ox, oy);
  Say("  the cross stamps widen peaks: heights rise by up to %.4f, none drops by more than %.4f\n",
      roundError.maxAbove, roundError.maxBelow);
  Say("  %lld pixels outside the outline receive heights; %lld rim pixels are not reached\n",
      static_cast<long long>(roundError.spill), static_cast<long long>(roundError.lost));
  Say("\nwritten:\n");
  for (const auto& f : written) Say("  %s\n", f.string().c_str());
  return kExitDone;
}

}  // namespace

CommandRun AddDemoCommand(CLI::App& app) {
  auto args = std::make_shared<DemoArgs>();
  CLI::App* sub = app.add_subcommand("demo", "the typical request on a synthetic tooth: field, contour, mask, mesh, "
                                             "round trip, adaptive mesh, previews");
  sub->add_option("--out", args->out, "output folder")->capture_default_str();
  sub->add_option("--max-error,--tolerance", args->tolerance, "largest height error of the adaptive mesh")
      ->capture_default_str();
  return [args] { return RunDemo(*args); };
}

}  // namespace relief::tool
