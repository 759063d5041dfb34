// Viewing family: lens, eye-space frustum, viewport, camera and world-space frustum.
#pragma once

#include <geom/viewing/angle_aspect.h>
#include <geom/viewing/camera.h>
#include <geom/viewing/eye_space_frustum.h>
#include <geom/viewing/frustum.h>
#include <geom/viewing/viewport.h>
