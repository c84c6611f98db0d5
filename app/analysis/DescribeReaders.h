#ifndef LUMO_ANALYSIS_DESCRIBEREADERS_H
#define LUMO_ANALYSIS_DESCRIBEREADERS_H

#include "lumo/YUVReader.h"

#include <QString>

// The files of an analysis window as its usage reports name them:
// "[read1 file=PATH; size=WxH; type=NAME]" for the first reader and
// " + [read2 ...]" added for the second; a reader without a path adds
// nothing.
QString DescribeReaders(const lumo::YUVReader& first, const lumo::YUVReader& second);

#endif
