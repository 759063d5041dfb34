#include <geom/meshes/mesh_modification.h>

#include <geom/meshes/remap.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using MM = krGeom::MeshModification;

// Every channel's tests and setters, null where the channel has none; entry i is mask bit i.
struct Channel {
  bool (MM::*modified)() const, (MM::*valid)() const;
  void (MM::*setModified)(), (MM::*setValid)();
};
// clang-format off
#define FULL(U, l) {&MM::are##U##Modified, &MM::are##U##Valid, &MM::l##Modified, &MM::l##Valid}
#define BARE(U, setModified) {&MM::are##U##Modified, nullptr, setModified, nullptr}
const Channel channels[] = {
    BARE(Vertices, nullptr), FULL(Normals, normals), FULL(UVs, uvs), FULL(STs, sts),
    FULL(Colours, colours), BARE(Triangles, nullptr), BARE(Polys, &MM::polysModified),
    FULL(StripsAndFans, stripsAndFans), FULL(Lines, lines), FULL(LineStrips, lineStrips),
    FULL(TriangleNormals, triangleNormals)};
// clang-format on
constexpr std::uint32_t topo = 1u << MM::eVertices | 1u << MM::eTriangles;

// Checks the masks and that every named test reads its own bit of them.
void expectMasks(const MM& m, std::uint32_t modified, std::uint32_t valid) {
  EXPECT_EQ(m.getModifiedMask(), modified);
  EXPECT_EQ(m.getValidMask(), valid);
  for (int i = 0; i < 11; ++i) {
    const Channel& c = channels[i];
    EXPECT_EQ((m.*c.modified)(), (modified >> i & 1) == 1) << "channel " << i;
    EXPECT_TRUE(!c.valid || (m.*c.valid)() == (valid >> i & 1)) << "channel " << i;
  }
}

TEST(MeshModification, MasksByType) {
  const MM t(nullptr, MM::eTransformed);
  expectMasks(t, 1u, ~(1u << MM::eNormals | 1u << MM::eTriangleNormals));
  EXPECT_TRUE(t.transformed() && !t.topologyModified() && !t.attributesModified());
  EXPECT_TRUE(t.areVertexAttribsValid("weights") && !t.areVertexAttribsModified("weights"));

  const MM topology(nullptr, MM::eTopologyModified);
  expectMasks(topology, topo, topo);
  EXPECT_FALSE(topology.areVertexAttribsValid("weights"));
  EXPECT_EQ(topology.EntityModification::getType(), krGeom::eMesh);

  // Any other value acts like an attributes notice but is none of the three kinds.
  for (MM::Type type : {MM::eAttributesModified, static_cast<MM::Type>(7)}) {
    const MM m(nullptr, type);
    expectMasks(m, 0u, ~0u);
    EXPECT_EQ(m.attributesModified(), type == MM::eAttributesModified);
    EXPECT_TRUE(m.areVertexAttribsValid("weights") && !m.topologyModified());
  }
}

TEST(MeshModification, SettersTouchOnlyTheirOwnChannel) {
  for (int i = 0; i < 11; ++i) {
    SCOPED_TRACE(i);
    const Channel& c = channels[i];
    const std::uint32_t own = topo | 1u << i;
    MM modified(nullptr, MM::eTopologyModified), valid(nullptr, MM::eTopologyModified);
    if (c.setModified) (modified.*c.setModified)();
    if (c.setValid) (valid.*c.setValid)();
    // polysModified deliberately leaves the polys valid bit alone.
    expectMasks(modified, c.setModified ? own : topo, c.setModified && c.setValid ? own : topo);
    expectMasks(valid, topo, c.setValid ? own : topo);
  }
}

TEST(MeshModification, NamesMatchExactlyAndCopiesAreIndependent) {
  krGeom::MeshRemap remap(nullptr, nullptr);
  MM s(nullptr, MM::eTopologyModified, &remap);
  s.vertexAttribsModified("Normals");
  s.vertexAttribsValid("normals");
  expectMasks(s, topo, topo | 1u << MM::eNormals);
  EXPECT_FALSE(s.areVertexAttribsValid("weights")) << "valid only once named";

  MM copy(s), assigned(nullptr, MM::eTransformed);
  copy.vertexAttribsValid("weights");
  assigned = copy;
  copy.vertexAttribsModified("pressure");
  EXPECT_EQ(s.getValidNames(), MM::NameSet{"Normals"});
  EXPECT_EQ(assigned.getValidNames(), (MM::NameSet{"Normals", "weights"}));
  EXPECT_EQ(assigned.getModifiedNames(), MM::NameSet{"Normals"});
  EXPECT_EQ(assigned.getMeshRemap(), &remap);
  EXPECT_TRUE(assigned.topologyModified() && !assigned.areOtherNamesValid());
}

}  // namespace
