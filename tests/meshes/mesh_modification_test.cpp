#include <geom/meshes/mesh_modification.h>

#include <geom/meshes/point_mesh.h>
#include <geom/meshes/remap.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using MM = krGeom::MeshModification;
using Names = MM::NameSet;

// Every channel's tests and setters, in channel order; null where the channel has none.
struct Channel {
  MM::MeshChannel bit;
  bool (MM::*modified)() const;
  bool (MM::*valid)() const;
  void (MM::*setModified)();
  void (MM::*setValid)();
};
const Channel channels[] = {
    {MM::eVertices, &MM::areVerticesModified, nullptr, nullptr, nullptr},
    {MM::eNormals, &MM::areNormalsModified, &MM::areNormalsValid, &MM::normalsModified,
     &MM::normalsValid},
    {MM::eUVs, &MM::areUVsModified, &MM::areUVsValid, &MM::uvsModified, &MM::uvsValid},
    {MM::eSTs, &MM::areSTsModified, &MM::areSTsValid, &MM::stsModified, &MM::stsValid},
    {MM::eColours, &MM::areColoursModified, &MM::areColoursValid, &MM::coloursModified,
     &MM::coloursValid},
    {MM::eTriangles, &MM::areTrianglesModified, nullptr, nullptr, nullptr},
    {MM::ePolys, &MM::arePolysModified, nullptr, &MM::polysModified, nullptr},
    {MM::eStripsAndFans, &MM::areStripsAndFansModified, &MM::areStripsAndFansValid,
     &MM::stripsAndFansModified, &MM::stripsAndFansValid},
    {MM::eLines, &MM::areLinesModified, &MM::areLinesValid, &MM::linesModified, &MM::linesValid},
    {MM::eLineStrips, &MM::areLineStripsModified, &MM::areLineStripsValid, &MM::lineStripsModified,
     &MM::lineStripsValid},
    {MM::eTriangleNormals, &MM::areTriangleNormalsModified, &MM::areTriangleNormalsValid,
     &MM::triangleNormalsModified, &MM::triangleNormalsValid},
};

constexpr std::uint32_t bit(int c) {
  return std::uint32_t{1} << c;
}

// Checks the masks and that every named test reads its own bit of them.
void expectMasks(const MM& m, std::uint32_t modified, std::uint32_t valid) {
  EXPECT_EQ(m.getModifiedMask(), modified);
  EXPECT_EQ(m.getValidMask(), valid);
  for (const Channel& c : channels) {
    EXPECT_EQ((m.*c.modified)(), (modified & bit(c.bit)) != 0) << "channel " << c.bit;
    if (c.valid) {
      EXPECT_EQ((m.*c.valid)(), (valid & bit(c.bit)) != 0) << "channel " << c.bit;
    }
  }
  EXPECT_EQ(m.areVerticesTransformed(), m.areVerticesModified());
}

TEST(MeshModification, MasksByType) {
  const MM t(nullptr, MM::eTransformed);
  expectMasks(t, 0x1u, ~(bit(MM::eNormals) | bit(MM::eTriangleNormals)));
  EXPECT_TRUE(t.transformed() && !t.topologyModified() && !t.attributesModified());
  EXPECT_TRUE(t.areVertexAttribsValid("weights"));
  EXPECT_FALSE(t.areVertexAttribsModified("weights"));

  const MM topo(nullptr, MM::eTopologyModified);
  expectMasks(topo, 0x21u, 0x21u);
  EXPECT_TRUE(topo.topologyModified());
  EXPECT_FALSE(topo.areVertexAttribsValid("weights"));
  EXPECT_EQ(topo.EntityModification::getType(), krGeom::eMesh);
  EXPECT_TRUE(topo.isRoot());

  const MM attrs(nullptr, MM::eAttributesModified);
  expectMasks(attrs, 0u, 0xFFFFFFFFu);
  EXPECT_TRUE(attrs.attributesModified());
  EXPECT_TRUE(attrs.areVertexAttribsValid("weights"));

  // Any other value acts like an attributes notice but is none of the three kinds.
  const MM other(nullptr, static_cast<MM::Type>(7));
  expectMasks(other, 0u, 0xFFFFFFFFu);
  EXPECT_FALSE(other.transformed() || other.topologyModified() || other.attributesModified());
  EXPECT_TRUE(other.areOtherNamesValid());
}

TEST(MeshModification, SettersTouchOnlyTheirOwnChannel) {
  for (const Channel& c : channels) {
    SCOPED_TRACE(c.bit);
    if (c.setModified) {
      MM m(nullptr, MM::eTopologyModified);
      (m.*c.setModified)();
      // polysModified deliberately leaves the polys valid bit alone.
      expectMasks(m, 0x21u | bit(c.bit), c.bit == MM::ePolys ? 0x21u : 0x21u | bit(c.bit));
    }
    if (c.setValid) {
      MM m(nullptr, MM::eTopologyModified);
      (m.*c.setValid)();
      expectMasks(m, 0x21u, 0x21u | bit(c.bit));
    }
  }
}

TEST(MeshModification, AttributesByName) {
  // Standard names map to channels 0 to 4 and never reach the name sets.
  const char* standard[] = {"vertices", "normals", "uvs", "sts", "colours"};
  for (int c = 0; c < 5; ++c) {
    MM m(nullptr, MM::eTopologyModified);
    m.vertexAttribsValid(standard[c]);
    EXPECT_EQ(m.getValidMask(), 0x21u | bit(c)) << standard[c];
    m.vertexAttribsModified(standard[c]);
    EXPECT_EQ(m.getModifiedMask(), 0x21u | bit(c)) << standard[c];
    EXPECT_TRUE(m.getModifiedNames().empty() && m.getValidNames().empty());
  }

  // Names match exactly: "Normals" is a custom attribute and leaves the normals channel alone.
  MM t(nullptr, MM::eTransformed);
  t.vertexAttribsModified("Normals");
  EXPECT_FALSE(t.areNormalsModified() || t.areNormalsValid());
  EXPECT_TRUE(t.areVertexAttribsModified("Normals"));
  EXPECT_FALSE(t.areVertexAttribsModified("normals"));

  // A custom name in a topology notice is valid only once named; no duplicates.
  MM m(nullptr, MM::eTopologyModified);
  m.vertexAttribsValid("weights");
  m.vertexAttribsModified("temperature");
  m.vertexAttribsModified("temperature");
  EXPECT_TRUE(m.areVertexAttribsValid("weights") && !m.areVertexAttribsModified("weights"));
  EXPECT_TRUE(m.areVertexAttribsValid("temperature") && m.areVertexAttribsModified("temperature"));
  EXPECT_FALSE(m.areVertexAttribsValid("pressure"));
  EXPECT_EQ(m.getModifiedNames(), Names{"temperature"});
  EXPECT_EQ(m.getValidNames(), (Names{"temperature", "weights"}));
  expectMasks(m, 0x21u, 0x21u);
}

TEST(MeshModification, CopiesAreIndependent) {
  kr::Reference<krGeom::PointMesh> mesh(new krGeom::PointMesh());
  krGeom::MeshRemap remap(nullptr, nullptr);
  MM source(mesh.get(), MM::eTopologyModified, &remap);
  source.uvsModified();
  source.vertexAttribsModified("temperature");
  source.vertexAttribsValid("weights");

  MM copy(source);
  EXPECT_EQ(copy.getEntity(), static_cast<const krGeom::Entity*>(mesh.get()));
  EXPECT_EQ(copy.getMeshRemap(), &remap);
  EXPECT_EQ(copy.getType(), MM::eTopologyModified);
  expectMasks(copy, source.getModifiedMask(), source.getValidMask());
  EXPECT_EQ(copy.getModifiedNames(), source.getModifiedNames());
  EXPECT_EQ(copy.getValidNames(), source.getValidNames());

  copy.vertexAttribsModified("pressure");
  copy.coloursModified();
  EXPECT_FALSE(source.areVertexAttribsModified("pressure") || source.areColoursModified());
  EXPECT_EQ(source.getValidNames(), (Names{"temperature", "weights"}));

  MM assigned(nullptr, MM::eTransformed);
  assigned = copy;
  EXPECT_EQ(assigned.getValidNames(), (Names{"pressure", "temperature", "weights"}));
  EXPECT_TRUE(assigned.topologyModified() && !assigned.areOtherNamesValid());
}

}  // namespace
