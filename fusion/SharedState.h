#pragma once

// Plain globals shared with the sensor service. The host writes the inputs
// before it calls the operation that reads them; nothing here is synchronised.
// Globals marked "host only" exist so that the host and its other modules share
// one definition; the library never reads or writes them.

#include "platform/Export.h"

extern SC_EXPORT int frameworkLux;            // host only
extern SC_EXPORT int ACL;                     // mode lookup
extern SC_EXPORT int upLux;                   // host only
extern SC_EXPORT int downLux;                 // host only
extern SC_EXPORT int transitionStatus;        // host only
extern SC_EXPORT bool screenOnFirstLight;     // host only
extern SC_EXPORT bool displayChanged;         // host only
extern SC_EXPORT bool useFrontLightOnly;      // host only
extern SC_EXPORT double pixelsEyeRatio[3];    // rectification
extern SC_EXPORT int policy;                  // host only
extern SC_EXPORT int brightness;              // lux formula threshold; rectification
extern SC_EXPORT int lcmBrightness;           // host only
extern SC_EXPORT int lastLcmBrightness;       // host only
extern SC_EXPORT int realHardwareBrightness;  // host only
extern SC_EXPORT int appSwitch;               // host only
extern SC_EXPORT int displayColorMode;        // mode lookup
extern SC_EXPORT int displayDcState;          // mode lookup
extern SC_EXPORT int displayId;               // host only: the library keeps its own panel identity
extern SC_EXPORT int lightId;                 // host only
extern SC_EXPORT int nightMode;               // host only
extern SC_EXPORT int eyeProtection;           // host only
extern SC_EXPORT int pixcelMode;              // host only
extern SC_EXPORT int icScopeWidth;            // rectification
extern SC_EXPORT int icScopeHeight;           // rectification
extern SC_EXPORT int brightnessChangeCount;   // host only
extern SC_EXPORT int winOrientation;          // host only
// 32-bit words: the host decides whether they hold integers or float bits.
extern SC_EXPORT int rectifiedLux;            // host only
extern SC_EXPORT int rectifiedLuxMainTop;     // host only
extern SC_EXPORT int rectifiedLuxMainBottom;  // host only
extern SC_EXPORT int rectifiedLuxSecondary;   // host only
extern SC_EXPORT int rectifiedLuxA;           // host only
extern SC_EXPORT int rectifiedLuxB;           // host only
extern SC_EXPORT int calicct;                 // host only
extern SC_EXPORT bool useAutoBrightness;      // host only
extern SC_EXPORT bool lastAutobrightness;     // host only
extern SC_EXPORT bool luxPersist;             // host only
extern SC_EXPORT bool needCalibrationGain;    // host only
extern SC_EXPORT int gammaMode;               // host only
extern SC_EXPORT int screenHopMode;           // CNN lux delta
extern SC_EXPORT bool isSupportLightAllBrightLow;  // host only
extern SC_EXPORT bool wifiDisplayState;       // host only
extern SC_EXPORT float channelsWeightDelta[8];  // host only
extern SC_EXPORT bool useChannelsWeightDelta;   // set by the parameter store while it reads the location file
extern SC_EXPORT float channelsBlk[5];        // c, r, g, b, w of the blk set (CNN lux delta)
extern SC_EXPORT float channelsNblk[5];       // c, r, g, b, w of the nblk set (CNN lux delta)
extern SC_EXPORT int mLogSwitch;              // non-zero enables the verbose log lines
