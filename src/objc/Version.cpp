// The version as Xcode's frameworks tell it.
extern "C" {
extern const double QuarnelTvOsLibVersionNumber;
extern const unsigned char QuarnelTvOsLibVersionString[];
const double QuarnelTvOsLibVersionNumber __attribute__((visibility("default"))) = 1.0;
const unsigned char QuarnelTvOsLibVersionString[] __attribute__((visibility("default"))) =
    "@(#)PROGRAM:QuarnelTvOsLib  PROJECT:QuarnelTvOsLib-1.0.0\n";
}
