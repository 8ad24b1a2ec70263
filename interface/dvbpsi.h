#pragma once

/// The one place where libdvbpsi's headers are included: each of them needs others before it, in this order, and
/// refuses to be included twice.

// clang-format off
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>
#include <dvbpsi/descriptor.h>
#include <dvbpsi/demux.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/cat.h>
#include <dvbpsi/nit.h>
#include <dvbpsi/pmt.h>
#include <dvbpsi/sdt.h>
#include <dvbpsi/eit.h>
#include <dvbpsi/tot.h>
#include <dvbpsi/dr_09.h>
#include <dvbpsi/dr_0a.h>
#include <dvbpsi/dr_40.h>
#include <dvbpsi/dr_43.h>
#include <dvbpsi/dr_47.h>
#include <dvbpsi/dr_48.h>
#include <dvbpsi/dr_4d.h>
#include <dvbpsi/dr_52.h>
#include <dvbpsi/dr_56.h>
#include <dvbpsi/dr_58.h>
#include <dvbpsi/dr_5a.h>
#include <dvbpsi/atsc_mgt.h>
#include <dvbpsi/atsc_vct.h>
#include <dvbpsi/atsc_stt.h>
// clang-format on
