#pragma once

// Numora: every public header of the library.

#include "numora/version.h"

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"
#include "numora/foundation/cstring.h"
#include "numora/foundation/platform.h"
#include "numora/foundation/complex.h"
#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/scalar.h"

#include "numora/transforms/fft.h"
#include "numora/transforms/window.h"
#include "numora/transforms/weighting.h"
#include "numora/transforms/timing.h"
#include "numora/transforms/frame.h"

#include "numora/spectrum/auto_spectrum.h"
#include "numora/spectrum/cross_spectrum.h"
#include "numora/spectrum/conversions.h"
#include "numora/spectrum/rms.h"
#include "numora/spectrum/histogram.h"
#include "numora/spectrum/correlation.h"

#include "numora/drive/random_phase.h"
#include "numora/drive/profiles.h"
#include "numora/drive/onions.h"
#include "numora/drive/clipping.h"
#include "numora/drive/waveforms.h"

#include "numora/compensation/taper.h"
#include "numora/compensation/compensation.h"

#include "numora/analysis/interpolator.h"
#include "numora/analysis/time_filter.h"
#include "numora/analysis/srs.h"
#include "numora/analysis/order.h"
#include "numora/analysis/integration.h"

#include "numora/units/eu_tables.h"
#include "numora/units/eu_ops.h"
