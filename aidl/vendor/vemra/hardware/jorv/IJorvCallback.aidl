// Implemented by the client; the service calls it to deliver events for a
// listening registration.

package vendor.vemra.hardware.jorv;

import vendor.vemra.hardware.jorv.JorvRequestData;

@VintfStability
interface IJorvCallback {
    void onCallback(in JorvRequestData[] data);
}
