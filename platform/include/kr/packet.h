// Packet streams: named, checksummed, versionable records of objects and the pointers between
// them. See kr/packet/write_context.h and kr/packet/read_context.h for examples.
#pragma once

#include <kr/packet/context.h>
#include <kr/packet/linear_io.h>
#include <kr/packet/read_context.h>
#include <kr/packet/status.h>
#include <kr/packet/type.h>
#include <kr/packet/write_context.h>
