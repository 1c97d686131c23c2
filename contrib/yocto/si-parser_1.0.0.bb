SUMMARY = "Service information of ISDB-Tb broadcasts as plain objects"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=ecaa81aac4aab2487ba3bcdb670a6200"

# Headers only, both. biTStream has no recipe in OpenEmbedded-Core: give your layer one.
DEPENDS = "boost bitstream"

# Made by scripts/release-tarball.
SRC_URI = "file://si_parser-${PV}.tar.gz"
S = "${WORKDIR}/si_parser-${PV}"

inherit cmake pkgconfig

EXTRA_OECMAKE = "\
    -DORVIX_BUILD_TOOLS=OFF \
    -DBUILD_TESTING=OFF \
    -DCMAKE_INSTALL_RPATH= \
"
