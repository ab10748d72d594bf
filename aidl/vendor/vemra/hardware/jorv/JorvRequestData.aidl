// One entry of a request or of a reply/callback payload: an id with an
// integer value and optional string fields.

package vendor.vemra.hardware.jorv;

@VintfStability
parcelable JorvRequestData {
    int id;
    int intValue;
    @nullable String value;
    @nullable String path;
    @nullable String extra;
}
