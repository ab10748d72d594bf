// Argument of the request-style IJorv calls. Field order is part of the wire
// format; new fields only ever go at the end.

package vendor.vemra.hardware.jorv;

import vendor.vemra.hardware.jorv.IJorvCallback;
import vendor.vemra.hardware.jorv.JorvRequestData;

@VintfStability
parcelable JorvRequestParcel {
    int requestType;
    JorvRequestData[] dataList;
    boolean flag;
    int param3;
    int param5;
    long param1;
    @nullable String[] paths;
    int param0;
    @nullable IJorvCallback callback;
    @nullable String text1;
    @nullable String text2;
    @nullable int[] numbers;
}
