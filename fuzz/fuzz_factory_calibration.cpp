// The calibration update against a factory-test service that answers
// arbitrary floats, verdicts and failures, followed by a prediction that uses
// the installed table.
//
// Input: a byte choosing how the service answers (0: normally, 1: a
// service-specific error, 2: an exception, 3: a transport status, 4: dying
// in the call, 5: dead before it; 6 and up: no service at all), a code for
// the failure, the verdict, the 30 calibration floats, the brightness code
// and the hop mode; the rest fills a 30 x 20 capture.

#include <android/log.h>
#include <utils/Vector.h>

#include <memory>
#include <string>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"
#include "fuzz/FuzzInput.h"
#include "platform/host/binder/FakeSensorFactory.h"

using hostbinder::FakeSensorFactory;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static android::ProjectFeature* feature = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        auto* f = new android::ProjectFeature();
        f->displayId = 1;
        return f;
    }();

    scfuzz::Input in(data, size);
    const uint8_t how = in.take<uint8_t>();
    const int32_t code = in.take<int32_t>();
    const int32_t verdict = in.take<int32_t>();
    FakeSensorFactory::Calibration calibration;
    for (float& v : calibration) v = in.take<float>();
    const int br = in.take<int32_t>();
    screenHopMode = in.take<int32_t>();

    if (how < 6) {
        hostbinder::ScopedFakeSensorFactory service(calibration);
        service->setVerdict(verdict);
        switch (how) {
            case 1: service->failWithServiceSpecific(code); break;
            case 2: service->failWithException(static_cast<binder_exception_t>(code)); break;
            case 3: service->failWithStatus(static_cast<binder_status_t>(code)); break;
            case 4: service->dieOnNextCall(); break;
            case 5: service->die(); break;
            default: break;
        }
        feature->updateProjectSixthLightCali();
    } else {
        feature->updateProjectSixthLightCali();
    }

    constexpr int kWidth = 30, kHeight = 20;
    const std::string rest = in.rest();
    android::Vector<int> pixels;
    pixels.resize(3 * kWidth * kHeight);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels.editItemAt(i) = rest.empty() ? 128 : static_cast<unsigned char>(rest[i % rest.size()]);
    float delta[5];
    feature->calcProjectCNNLuxDelta(pixels, br, kWidth, kHeight, delta);
    return 0;
}
