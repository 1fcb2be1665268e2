// sensorcfg fit POINTS.csv: the LuxCNN location fit on the sixteen factory
// points of one unit, and whether the calibration would accept the centre.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "models/lux_cnn/GaussianFit.h"
#include "models/lux_cnn/LuxCNN.h"
#include "tools/sensorcfg/Commands.h"
#include "tools/sensorcfg/Csv.h"
#include "tools/sensorcfg/LogTap.h"

namespace sensorcfg {

namespace {

constexpr int kPoints = 16;

struct FitOptions {
    std::string points;
    bool json = false;
};

bool readPoints(const std::string& path, float loc[3][kPoints], std::string* error) {
    CsvFile csv;
    if (!readCsv(path, &csv, error)) return false;
    int cols[3] = {0, 1, 2};
    if (!csv.header.empty()) {
        const char* names[3] = {"x", "y", "z"};
        for (int k = 0; k < 3; ++k) {
            cols[k] = csv.column(names[k]);
            if (cols[k] < 0) {
                *error = path + ": header has no column \"" + names[k] + "\" (expected x,y,z)";
                return false;
            }
        }
    }
    if (csv.rows.size() != kPoints) {
        *error = path + ": " + std::to_string(csv.rows.size()) + " points, expected 16";
        return false;
    }
    for (int i = 0; i < kPoints; ++i) {
        for (int k = 0; k < 3; ++k) {
            double v = 0;
            if (!parseNumber(csv, csv.rows[i], size_t(cols[k]), &v, error)) return false;
            loc[k][i] = float(v);
        }
    }
    return true;
}

int runFit(const FitOptions& o) {
    float loc[3][kPoints];
    std::string error;
    if (!readPoints(o.points, loc, &error)) {
        std::fprintf(stderr, "sensorcfg fit: %s\n", error.c_str());
        return kInputError;
    }

    // The calibration fits the responses relative to their largest value.
    double x[kPoints], y[kPoints], z[kPoints], zmax = 0.0;
    // A plain comparison (NaN never wins) rather than an fmax reduction,
    // which GCC 12's AArch64 vectoriser fails on.
    for (int i = 0; i < kPoints; ++i)
        if (loc[2][i] > zmax) zmax = loc[2][i];
    for (int i = 0; i < kPoints; ++i) {
        x[i] = loc[0][i];
        y[i] = loc[1][i];
        z[i] = zmax > 0.0 ? loc[2][i] / zmax : loc[2][i];
    }
    double p[5] = {0, 0, 0, 0, 0};
    int fitted;
    bool accepted;
    std::vector<std::string> fitLines;
    {
        LogTap tap;
        fitted = gaussian2DFit(x, y, z, p);
        fitLines = tap.lines();
        // Let the library itself judge the centre: a calibration run with the
        // same points reports whether it moved the weight maps there.
        tap.clear();
        std::unique_ptr<LuxCNN> model(new LuxCNN());
        float color[2][4] = {{12540, 1215, 10348, 1169}, {519, 52, 415, 54}};
        model->initCalibration(color, loc);
        accepted = tap.contains("Algo_Lux_Cnn_Model: x0 = ");
    }
    const bool finite = std::isfinite(p[0]) && std::isfinite(p[1]);

    if (o.json) {
        std::printf("{\"file\": \"%s\", \"converged\": %s, \"x0\": %.6g, \"y0\": %.6g, \"amplitude\": %.6g, "
                    "\"sigma_x\": %.6g, \"sigma_y\": %.6g, \"centre_accepted\": %s}\n",
                    o.points.c_str(), fitted ? "true" : "false", fitted ? p[0] : NAN, fitted ? p[1] : NAN,
                    fitted ? p[2] * zmax : NAN, fitted ? p[3] : NAN, fitted ? p[4] : NAN,
                    accepted ? "true" : "false");
    } else {
        std::printf("%s: 16 points, largest response %g\n", o.points.c_str(), zmax);
        if (fitted) {
            std::printf("fit converged\n");
            std::printf("  x0        %12.4f\n  y0        %12.4f\n", p[0], p[1]);
            std::printf("  amplitude %12.4f  (%.6f of the largest response)\n", p[2] * zmax, p[2]);
            std::printf("  sigma_x   %12.4f\n  sigma_y   %12.4f\n", p[3], p[4]);
        } else {
            std::printf("fit failed:\n");
            for (const std::string& l : fitLines) std::printf("  %s\n", l.c_str());
        }
        if (accepted)
            std::printf("centre accepted: the calibration moves the weight maps to it\n");
        else if (fitted && !finite)
            std::printf("centre rejected: the fit did not produce a finite centre\n");
        else if (fitted)
            std::printf("centre rejected: outside the window x 815..835, y 71..91\n");
        else
            std::printf("centre rejected: no fit, the weight maps stay as they are\n");
    }
    return fitted && accepted ? kOk : kFindings;
}

}  // namespace

void addFitCommand(CLI::App& app, int* status) {
    auto opts = std::make_shared<FitOptions>();
    CLI::App* cmd = app.add_subcommand(
            "fit", "Fit the sensor's response spot to sixteen factory location samples (CSV x,y,z) and tell "
                   "whether the LuxCNN calibration would accept its centre");
    cmd->add_option("points", opts->points, "CSV with 16 rows x,y,z (a header line x,y,z is optional)")
            ->required();
    cmd->add_flag("--json", opts->json, "print one JSON object instead of text");
    cmd->callback([opts, status] { *status = runFit(*opts); });
}

}  // namespace sensorcfg
