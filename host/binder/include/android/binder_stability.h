/*
 * Host build of <android/binder_stability.h>. The host has one partition, so stability markings are
 * accepted and have no effect.
 */
#pragma once

#include <android/binder_ibinder.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

void AIBinder_markVintfStability(AIBinder* binder);
void AIBinder_markVendorStability(AIBinder* binder);

__END_DECLS
