// sensorcfg predict: runs one of the two screen-light models on a capture.
//   lightreg: through RootFusion::calcCNNLuxDelta, as the sensor service does,
//             with the capture as the host's pixel buffer and the blk/nblk
//             readings as the host's globals;
//   luxcnn:   LuxCNN::model_predict on a 101 x 101 patch, plus getCalibration.
#include <utils/Vector.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fusion/RootFusion.h"
#include "models/lux_cnn/LuxCNN.h"
#include "tools/sensorcfg/Capture.h"
#include "tools/sensorcfg/Commands.h"
#include "tools/sensorcfg/LogTap.h"
#include "tools/sensorcfg/StartUp.h"

namespace sensorcfg {

namespace {

struct PredictOptions {
    std::string model;
    std::string capture;
    int brightness = 0;
    int mode = 0;
    int screenHop = 0;
    std::vector<float> blk{0, 0, 0, 0, 0};
    std::vector<float> nblk{0, 0, 0, 0, 0};
    bool json = false;
};

int predictLightRegression(const PredictOptions& o, const Capture& cap) {
    const int panel = startUpService();
    if (panel != 1) {
        std::fprintf(stderr, "sensorcfg predict: the library reports panel %d; the model runs on panel 1 only\n",
                     panel);
        return kInputError;
    }
    for (int k = 0; k < 5; ++k) {
        channelsBlk[k] = o.blk[k];
        channelsNblk[k] = o.nblk[k];
    }
    screenHopMode = o.screenHop;
    android::Vector<int> pixels;
    pixels.appendArray(cap.rgb.data(), cap.rgb.size());
    float delta[5] = {NAN, NAN, NAN, NAN, NAN};
    LogTap tap;
    android::RootFusion::getInstance()->calcCNNLuxDelta(pixels, o.brightness, cap.width, cap.height, delta);
    if (std::isnan(delta[0])) {
        std::fprintf(stderr, "sensorcfg predict: the library made no prediction for this capture\n");
        for (const std::string& l : tap.lines()) std::fprintf(stderr, "  %s\n", l.c_str());
        return kFindings;
    }
    bool outOfRange = tap.contains("Algo_Lux_Cnn_Model: lcm less than 6961");
    const int modelMode = o.screenHop == 0 ? 2 : o.screenHop == 1 ? 1 : 0;
    if (o.json) {
        std::printf("{\"model\": \"lightreg\", \"capture\": \"%s\", \"brightness\": %d, \"model_mode\": %d, "
                    "\"delta\": {\"c\": %g, \"r\": %g, \"g\": %g, \"b\": %g, \"w\": %g}, \"in_range\": %s}\n",
                    o.capture.c_str(), o.brightness, modelMode, delta[0], delta[1], delta[2], delta[3], delta[4],
                    outOfRange ? "false" : "true");
    } else {
        std::printf("LightRegression on %s (%d x %d), brightness %d, screen hop %d (model mode %d)\n",
                    o.capture.c_str(), cap.width, cap.height, o.brightness, o.screenHop, modelMode);
        if (outOfRange) std::printf("brightness code outside the model's range 4701..14063: deltas are zero\n");
        std::printf("screen light delta  c %.4f  r %.4f  g %.4f  b %.4f  w %.4f\n", delta[0], delta[1], delta[2],
                    delta[3], delta[4]);
    }
    return kOk;
}

int predictLuxCnn(const PredictOptions& o, const Capture& cap) {
    constexpr int N = LuxCNN::kPatch;
    if (cap.width != N || cap.height != N) {
        std::fprintf(stderr, "sensorcfg predict: %s: LuxCNN needs a %d x %d patch, got %d x %d\n",
                     o.capture.c_str(), N, N, cap.width, cap.height);
        return kInputError;
    }
    auto patch = std::make_unique<int[][N][4]>(N);
    for (int i = 0; i < N; ++i)
        for (int j = 0; j < N; ++j) {
            for (int k = 0; k < 3; ++k) patch[i][j][k] = cap.rgb[(size_t(i) * N + j) * 3 + k];
            patch[i][j][3] = 0;
        }
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    float colorK = 0, locK = 0;
    float out[4];
    {
        LogTap tap;
        const float* r = model->model_predict(patch.get(), o.brightness, o.mode);
        for (int k = 0; k < 4; ++k) out[k] = r[k];
        // The calibration table reads codes up to 14063 only.
        model->getCalibration(o.brightness > 14063 ? 14063 : o.brightness, patch.get(), o.mode, colorK, locK);
    }
    if (o.json) {
        std::printf("{\"model\": \"luxcnn\", \"capture\": \"%s\", \"brightness\": %d, \"mode\": %d, "
                    "\"screen\": {\"r\": %g, \"g\": %g, \"b\": %g, \"c\": %g}, \"color_k\": %g, \"loc_k\": %g}\n",
                    o.capture.c_str(), o.brightness, o.mode, out[0], out[1], out[2], out[3], colorK, locK);
    } else {
        std::printf("LuxCNN on %s, brightness %d, mode %d\n", o.capture.c_str(), o.brightness, o.mode);
        std::printf("screen light  r %.4f  g %.4f  b %.4f  c %.4f\n", out[0], out[1], out[2], out[3]);
        std::printf("calibration   color_k %.6f  loc_k %.6f\n", colorK, locK);
    }
    return kOk;
}

int runPredict(const PredictOptions& o) {
    Capture cap;
    std::string error;
    if (!loadCapture(o.capture, &cap, &error)) {
        std::fprintf(stderr, "sensorcfg predict: %s\n", error.c_str());
        return kInputError;
    }
    return o.model == "lightreg" ? predictLightRegression(o, cap) : predictLuxCnn(o, cap);
}

}  // namespace

void addPredictCommand(CLI::App& app, int* status) {
    auto opts = std::make_shared<PredictOptions>();
    CLI::App* cmd = app.add_subcommand("predict", "Run a screen-light model on a capture (PNG or raw dump)");
    cmd->add_option("--model", opts->model, "lightreg (RootFusion::calcCNNLuxDelta) or luxcnn (LuxCNN)")
            ->required()
            ->check(CLI::IsMember({"lightreg", "luxcnn"}));
    cmd->add_option("capture", opts->capture, "PNG, or a raw dump: WIDTH HEIGHT then R G B integers")->required();
    cmd->add_option("--br,--brightness", opts->brightness, "panel brightness code")->required();
    cmd->add_option("--mode", opts->mode, "luxcnn: display mode (1, 2; others act as 0)");
    cmd->add_option("--screen-hop", opts->screenHop,
                    "lightreg: the host's screenHopMode (0, 1, other: model mode 2, 1, 0)");
    cmd->add_option("--blk", opts->blk, "lightreg: blk readings c,r,g,b,w")->delimiter(',')->expected(5);
    cmd->add_option("--nblk", opts->nblk, "lightreg: nblk readings c,r,g,b,w")->delimiter(',')->expected(5);
    cmd->add_flag("--json", opts->json, "print one JSON object instead of text");
    cmd->callback([opts, status] { *status = runPredict(*opts); });
}

}  // namespace sensorcfg
