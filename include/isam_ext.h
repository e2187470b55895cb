/* Calls of the engine beside the standard ones of isam.h: reading many records at once, and record
 * locks by number. Results and errors as there. */
#ifndef ISAM_EXT_H
#define ISAM_EXT_H

#include "isam.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads the records that follow the position in the selected index, up to the end of one index leaf
 * and at most `most` of them, one after another into `records` (record length bytes each), under
 * one lock; the last one becomes the current record and sets isrecnum. `numbers` may be null, else
 * it takes the record numbers. Returns how many there are, at least 1, or -1 (EENDFILE). Takes no
 * record locks. */
ISAM_API int isscan(int handle, char* records, int most, int32_t* numbers);

/* Locks record `number` for this handle (0: all records) until it is released or the handle
 * closed; `wait` non-zero waits for it. ELOCKED when another holds it. */
ISAM_API int islockrec(int handle, int32_t number, int wait);
/* Releases one record (0: all) that this handle has locked. */
ISAM_API int isrelrec(int handle, int32_t number);

#ifdef __cplusplus
}
#endif

#endif
