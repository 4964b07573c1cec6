#pragma once
/// @file
/// Umbrella header: the whole public API of libQORCoordTransform.

#include "qor/Version.h"
#include "qor/export.h"

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/QORStream.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/foundation/StringUtilities.h"
#include "qor/foundation/TripletBase.h"
#include "qor/foundation/TripletQORVector.h"

#include "qor/parametric/ParametricDB.h"
#include "qor/parametric/ParametricDBFactory.h"
#include "qor/parametric/ParametricDBInterface.h"

#include "qor/smoothing/Smooth2dbs.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"

#include "qor/turbo/AxisFrame.h"
#include "qor/turbo/CurveOrientation.h"
#include "qor/turbo/TurboTransform.h"

#include "qor/segmenter/TurboTransformSegmenter.h"
