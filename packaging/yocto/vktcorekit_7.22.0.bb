SUMMARY = "Core library of advertising SDKs on television devices"
DESCRIPTION = "Reads VAST documents, finds the ads that can be played, and reports what happens to them."
# The owner has named no licence yet.
LICENSE = "CLOSED"

# Set in local.conf or a .bbappend, e.g. "file:///srv/sources/vktcorekit-${PV}.tar.gz"; an archive that is downloaded
# needs its SRC_URI[sha256sum] beside it.
VKTCOREKIT_SRC_URI ?= ""
SRC_URI = "${VKTCOREKIT_SRC_URI}"

inherit cmake pkgconfig bash-completion

DEPENDS = "asio curl expat nlohmann-json openssl sqlite3 zlib"
EXTRA_OECMAKE = "-DBUILD_SHARED_LIBS=ON -DVKT_BUILD_TESTS=OFF -DVKT_BUILD_EXAMPLES=OFF"

# With measurement the kernel needs CONFIG_SECCOMP_FILTER.
PACKAGECONFIG ??= "measurement"
PACKAGECONFIG[measurement] = "-DVKT_WITH_MEASUREMENT=ON,-DVKT_WITH_MEASUREMENT=OFF,duktape libseccomp"
PACKAGECONFIG[glib] = "-DVKT_WITH_GLIB=ON,-DVKT_WITH_GLIB=OFF,glib-2.0"
PACKAGECONFIG[cairo] = "-DVKT_WITH_CAIRO=ON,-DVKT_WITH_CAIRO=OFF,cairo"
PACKAGECONFIG[tools] = "-DVKT_BUILD_TOOLS=ON,-DVKT_BUILD_TOOLS=OFF,cli11 cpp-httplib"
