/* Umbrella header: the whole C surface of libzynecgsolver. */
#ifndef ZYNECGSOLVER_ZYNECGSOLVER_H
#define ZYNECGSOLVER_ZYNECGSOLVER_H

#include "zynecgsolver/version.h"
#include "zynecgsolver/types.h"
#include "zynecgsolver/emxarray.h"
#include "zynecgsolver/rt_nonfinite.h"
#include "zynecgsolver/toolbox_reductions.h"
#include "zynecgsolver/toolbox_search.h"
#include "zynecgsolver/toolbox_stats.h"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/hrv.h"

#endif
