// First- and second-stage FIR filters.
#include "TarnData.h"

const float TarnData::firstStageCoefficients[tarn::kFilterTaps] = {};
const float TarnData::secondStageCoefficients[tarn::kFilterTaps] = {};

void TarnData::initFilters() {}
float TarnData::doFIRFilter(const float*, int32_t, int32_t, const float*, int32_t) { return 0.0f; }
