package vendor.zarn.hardware.sensorfactory;

/** Result of a version-1 test. */
@VintfStability
parcelable SensorTestResult {
    /** Verdict: negative means failure. */
    int success;
    /** Measured values. */
    float[3] testVal;
    /** Default (reference) values. */
    float[3] defBase;
    /** Lower limits. */
    float[3] minBase;
    /** Upper limits. */
    float[3] maxBase;
    /** Text from the driver, NUL-terminated. */
    byte[64] info;
}
