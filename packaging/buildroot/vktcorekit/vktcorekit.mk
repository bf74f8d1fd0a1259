################################################################################
#
# vktcorekit
#
################################################################################

VKTCOREKIT_VERSION = 7.22.0
VKTCOREKIT_SITE = $(call qstrip,$(BR2_PACKAGE_VKTCOREKIT_SITE))
VKTCOREKIT_SOURCE = vktcorekit-$(VKTCOREKIT_VERSION).tar.gz
# The owner has named no licence yet.
VKTCOREKIT_LICENSE = PROPRIETARY
VKTCOREKIT_REDISTRIBUTE = NO
VKTCOREKIT_INSTALL_STAGING = YES
VKTCOREKIT_DEPENDENCIES = \
	host-pkgconf \
	asio \
	expat \
	json-for-modern-cpp \
	libcurl \
	openssl \
	sqlite \
	zlib
# Shared or static is said by Buildroot itself, as BUILD_SHARED_LIBS.
VKTCOREKIT_CONF_OPTS = \
	-DVKT_BUILD_TESTS=OFF \
	-DVKT_BUILD_EXAMPLES=OFF

ifeq ($(BR2_PACKAGE_VKTCOREKIT_MEASUREMENT),y)
VKTCOREKIT_DEPENDENCIES += duktape libseccomp
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_MEASUREMENT=ON
else
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_MEASUREMENT=OFF
endif

ifeq ($(BR2_PACKAGE_VKTCOREKIT_GLIB),y)
VKTCOREKIT_DEPENDENCIES += libglib2
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_GLIB=ON
else
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_GLIB=OFF
endif

ifeq ($(BR2_PACKAGE_VKTCOREKIT_CAIRO),y)
VKTCOREKIT_DEPENDENCIES += cairo
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_CAIRO=ON
else
VKTCOREKIT_CONF_OPTS += -DVKT_WITH_CAIRO=OFF
endif

ifeq ($(BR2_PACKAGE_VKTCOREKIT_TOOLS),y)
VKTCOREKIT_DEPENDENCIES += cli11 cpp-httplib
VKTCOREKIT_CONF_OPTS += -DVKT_BUILD_TOOLS=ON
else
VKTCOREKIT_CONF_OPTS += -DVKT_BUILD_TOOLS=OFF
endif

$(eval $(cmake-package))
