#pragma once
/// @file
/// `TurboTransformSegmenter`: splits the passage of a finished transform into segments.
// Declaration in progress.
