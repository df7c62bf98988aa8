# Taking over the native dock through GSettings, the backup transaction and the recovery helper.
# Defines wharf_takeover and its tests.
