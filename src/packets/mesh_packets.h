// Names and layout shared by the mesh packet writer and reader.
#pragma once

namespace krGeom::meshPackets {

inline constexpr const char* kHeader = "kr.st.mesh";
inline constexpr const char* kVertices = "kr.st.mesh.vertices";
inline constexpr const char* kNormals = "kr.st.mesh.normals";
inline constexpr const char* kUVs = "kr.st.mesh.uvs";
inline constexpr const char* kSTs = "kr.st.mesh.sts";
inline constexpr const char* kColours = "kr.st.mesh.colours";
inline constexpr const char* kTriangles = "kr.st.mesh.triangles";
inline constexpr const char* kTriNormals = "kr.st.mesh.trinormals";
inline constexpr const char* kSeqArray = "kr.st.mesh.seqarray";

// Elements per array packet.
inline constexpr int kRun = 1000;

// Sequence kinds and the two arrays of each.
enum SequenceKind { eTriStrips = 0, eTriFans = 1, eLineStrips = 2, ePolys = 3 };
enum ArrayKind { ePoints = 0, eLengths = 1 };

}  // namespace krGeom::meshPackets
