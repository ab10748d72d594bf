// The vendor resource-control service. Method order fixes the transaction
// codes, so methods are never reordered or removed.

package vendor.vemra.hardware.jorv;

import vendor.vemra.hardware.jorv.IJorvCallback;
import vendor.vemra.hardware.jorv.JorvRequestData;
import vendor.vemra.hardware.jorv.JorvRequestParcel;

@VintfStability
interface IJorv {
    void init();
    int request(in JorvRequestParcel parcel);
    int release(int handle);
    JorvRequestData[] stateRequest(in JorvRequestParcel parcel);
    int listeningRegister(in JorvRequestParcel parcel, IJorvCallback callback);
    int listeningUnregister(int handle);
    String propertyGet(String name);
    int propertySet(String name, String value);
    int thermalListeningRegister(in int[] ids, IJorvCallback callback);
    int thermalListeningUnregister(int handle);
    // Holds its slot so the transaction codes of the methods after it stay
    // what deployed services expect. This client never calls it.
    void reserved10();
    int setRelatedSysInfo(int a, String info);
    int ruleCtl(int ruleId, int status, in JorvRequestData[] data);
    oneway void requestOneWay(in JorvRequestParcel parcel);
}
