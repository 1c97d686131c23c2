include $(sort $(wildcard $(BR2_EXTERNAL_SI_PARSER_PATH)/package/*/*.mk))
