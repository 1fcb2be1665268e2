package vendor.zarn.hardware.sensorfactory;

/** Result of a version-2 test. */
@VintfStability
parcelable SensorTestResultV2 {
    /** Verdict: negative means failure. */
    int success;
    /** Result values; their meaning depends on the test. */
    float[32] val;
    /** Reserved for text. */
    byte[64] info;
}
