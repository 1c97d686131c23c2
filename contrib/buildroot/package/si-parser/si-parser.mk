################################################################################
#
# si-parser
#
################################################################################

SI_PARSER_VERSION = 1.0.0
SI_PARSER_SOURCE = si_parser-$(SI_PARSER_VERSION).tar.gz
# Made by scripts/release-tarball.
SI_PARSER_SITE = $(BR2_EXTERNAL_SI_PARSER_PATH)/../../build/packages
SI_PARSER_SITE_METHOD = file
SI_PARSER_LICENSE = MIT
SI_PARSER_LICENSE_FILES = LICENSE
SI_PARSER_INSTALL_STAGING = YES
SI_PARSER_DEPENDENCIES = bitstream boost
SI_PARSER_CONF_OPTS = \
	-DORVIX_BUILD_TOOLS=OFF \
	-DBUILD_TESTING=OFF \
	-DCMAKE_INSTALL_RPATH=

$(eval $(cmake-package))
