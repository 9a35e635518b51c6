# What differs between a transcript of Wine and one of the lab although both are right, for sed -E:
# the clock of Wine is real, so elapsed times and the number of the last attempt;
s/after [0-9]+ ms/after N ms/
s/query-remove attempt [0-9]{2,}/query-remove attempt N/
# Wine keeps no endpoint records;
/removed VORN endpoint record/d
s/and [0-9]+ VORN endpoint record/and N VORN endpoint record/
# a short reply to a lease comes from a call that succeeded, so its last error is whatever was left.
s/(controller lease) \(error 0x[0-9A-F]{8}\)/\1 (error N)/
