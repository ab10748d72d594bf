// The host has a single partition: stability markings have nothing to restrict.
#include <android/binder_stability.h>

void AIBinder_markVintfStability(AIBinder* /*binder*/) {}

void AIBinder_markVendorStability(AIBinder* /*binder*/) {}
