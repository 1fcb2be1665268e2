package vendor.zarn.hardware.sensorfactory;

import vendor.zarn.hardware.sensorfactory.SensorTestResult;
import vendor.zarn.hardware.sensorfactory.SensorTestResultV2;

/**
 * Factory tests of the sensor driver, run by number. Each call blocks until
 * the driver has finished the test.
 */
@VintfStability
interface ISensorFactory {
    /**
     * Runs test `id` with three arguments. `result.success` is the verdict:
     * negative means the test failed.
     */
    void runSensorTest(int id, int arg1, int arg2, int arg3, out SensorTestResult result);

    /**
     * Runs test `id` with 32 arguments; the meaning of `result.val` depends on
     * the test.
     */
    void runSensorTestV2(int id, in int[32] args, out SensorTestResultV2 result);
}
