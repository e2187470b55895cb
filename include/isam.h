/* Indexed files: the interface of the engine, for C and C++.
 *
 * A file is a pair on disk, NAME.idx (dictionary, B-trees, free lists) and NAME.dat (records of one
 * length in numbered slots); docs/indexed-files.md describes both. isbuild() and isopen() give a
 * handle, a small number from 0; every other call takes it. Calls return 0 (or a handle) for
 * success and -1 for failure; iserrno then says why, isstat1 to isstat4 say it in COBOL's words.
 *
 * Several processes may use a file at once; each call is one indivisible operation. A finished
 * operation outlives its process. The library is not thread-safe: one thread at a time.
 *
 * What breaks the locks between processes is a POSIX matter: never open and close NAME.idx by other
 * means in a process that has the file open, and close the file before fork() goes on using it in
 * the child.
 *
 * A file whose index contradicts itself ends the process: "fatal isam error SOURCE(LINE)" on
 * standard error, exit status 1. Nothing is written to such a file.
 */
#ifndef ISAM_H
#define ISAM_H

#include <stdint.h>

#if defined(__GNUC__)
#define ISAM_API __attribute__((visibility("default")))
#else
#define ISAM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Key descriptions -------------------------------------------------------------------- */

#define NPARTS 8       /* most parts of a key */
#define MAXKEYSIZE 150 /* most bytes of a key */

/* k_flags */
#define ISNODUPS 0  /* a key value occurs once */
#define ISDUPS 1    /* equal keys are allowed; they are kept in order of arrival */
#define DCOMPRESS 2 /* in the index: an equal key is not stored again */
#define LCOMPRESS 4 /* ... leading bytes shared with the key before are not stored */
#define TCOMPRESS 8 /* ... trailing pad bytes are not stored */
#define COMPRESS 14 /* all three */
#define TNULL 16    /* the pad byte of TCOMPRESS is 0x00 instead of a space */
#define NULLKEY 32  /* a key whose bytes are all null is not in the index */
/* With NULLKEY the null byte of a part is the high byte of its kp_type; at most 4 parts. */

/* kp_type, low six bits; integers are big-endian unless the host's order is stated */
#define CHARTYPE 0   /* bytes, unsigned */
#define INTTYPE 1    /* signed, 2 bytes */
#define LONGTYPE 2   /* signed, 4 bytes */
#define DOUBLETYPE 3 /* IEEE double, 8 bytes in the host's order */
#define FLOATTYPE 4  /* IEEE single, 4 bytes in the host's order */
#define MINTTYPE 5   /* signed, 2 bytes in the host's order */
#define MLONGTYPE 6  /* signed, 4 bytes in the host's order */
#define STRINGTYPE 7 /* text that ends at a 0x00 byte or at the end of the part */
#define ISDESC 0x80  /* added to a type: greatest first */

struct keypart {
  int16_t kp_start; /* first byte in the record, from 0 */
  int16_t kp_leng;  /* bytes; a whole number of units of the type */
  int16_t kp_type;
};

struct keydesc {
  int16_t k_flags;
  int16_t k_nparts; /* 1 to NPARTS; 0: no key, records are reached by number only */
  struct keypart k_part[NPARTS];
  int16_t k_len;      /* filled in by the engine: bytes of the key */
  int32_t k_rootnode; /* filled in by the engine: root node of the index */
};

/* What isindexinfo() with index 0 and isisaminfo() fill in. */
struct dictinfo {
  int16_t di_nkeys;    /* number of indexes, a primary key without parts included */
  int16_t di_recsize;  /* bytes of a record */
  int16_t di_idxsize;  /* bytes of an index node */
  int32_t di_nrecords; /* live records (precious files: deleted ones count too) */
};

/* ---- Modes ------------------------------------------------------------------------------- */

/* isopen() and isbuild() */
#define ISINPUT 0        /* reading only */
#define ISOUTPUT 1       /* as ISINOUT; kept apart for callers that say what they mean */
#define ISINOUT 2        /* reading and writing */
#define ISVARLEN 0x10    /* refused: variable-length records are not supported */
#define ISTRAILER 0x80   /* isbuild: slots end in a 4-byte word */
#define ISAUTOLOCK 0x200 /* each record read is locked until the next call */
#define ISMANULOCK 0x400 /* records are locked on request; the default */
#define ISEXCLLOCK 0x800 /* nobody else may have the file open; no locks, no rereading */
#define ISSHAREOWN 0x100 /* with or against ISEXCLLOCK: other handles of this process may */
#define ISDUPWIDTH(bytes) ((bytes) << 16) /* isbuild: bytes of a duplicate counter, 1 to 4 */
#define ISNODESIZE(units) ((units) << 24) /* isbuild: node size in units of 512, 1 to 32 */

/* isread() and isstart() */
#define ISFIRST 0
#define ISLAST 1
#define ISNEXT 2
#define ISPREV 3
#define ISCURR 4
#define ISEQUAL 5
#define ISGREAT 6
#define ISGTEQ 7
#define ISLOCK 0x100     /* added, isread: lock the record */
#define ISWAIT 0x400     /* added, isread: wait for a locked record */
#define ISKEEPLOCK 0x800 /* added, isstart: accepted */

/* ---- Status of the last call --------------------------------------------------------------- */

extern ISAM_API int iserrno;      /* 0, a system error number below 100, or one of these: */
extern ISAM_API int iserrio;      /* which file and kind of system call failed, 0 if none */
extern ISAM_API int32_t isrecnum; /* record number last read, written or located; input by number */
extern ISAM_API int isreclen;     /* bytes of the record last read */
extern ISAM_API char isstat1, isstat2, isstat3, isstat4; /* COBOL file status, two pairs */
extern ISAM_API int ispid; /* process that held the lock in the file's last conflict */
extern ISAM_API const char* const is_errlist[]; /* texts of the errors from 100 on */
extern ISAM_API const int is_nerr;              /* number of texts */

#define EDUPL 100    /* a unique key occurs already, or no duplicate counter is left */
#define ENOTOPEN 101 /* no such handle, or the file is open for reading only */
#define EBADARG 102
#define EBADKEY 103 /* key description invalid or not one of the file's */
#define ETOOMANY 104
#define EBADFILE 105 /* the file contradicts itself */
#define ENOTEXCL 106 /* the call needs ISEXCLLOCK */
#define ELOCKED 107  /* record locked by another; ispid says by whom */
#define EKEXISTS 108
#define EPRIMKEY 109
#define EENDFILE 110
#define ENOREC 111
#define ENOCURR 112
#define EFLOCKED 113 /* the file is in use */
#define EFNAME 114
#define EBADMEM 116
#define ENOPRIM 127 /* the file has no primary key */
#define ENOLOCKS 134
#define ENOTAVAIL 142

/* ---- Files --------------------------------------------------------------------------------- */

/* Creates NAME.idx and, for a record length above 0, NAME.dat, and opens them; `primary` may have
 * no parts. Returns a handle. Fails with 17 (exists), EBADARG (record length or mode),
 * EBADKEY, EFNAME. A failed build leaves nothing behind. */
ISAM_API int isbuild(const char* name, int record_length, const struct keydesc* primary, int mode);
/* Variable-length records: fails with EBADARG. */
ISAM_API int isvbuild(const char* name, int least, int most, const struct keydesc* primary,
                      int mode);
/* Returns a handle, positioned before the first record of the primary index (of the record numbers
 * when there is none). Fails with 2 (no such file), 13 (no permission), EFLOCKED, EBADFILE. */
ISAM_API int isopen(const char* name, int mode);
/* Releases the handle and its record locks; the last one of a file cuts off its reserved space. */
ISAM_API int isclose(int handle);
/* Puts both files on the medium. */
ISAM_API int isflush(int handle);
/* Removes the files of a name; fails with EFLOCKED while anybody has them open. */
ISAM_API int iserase(const char* name);
/* Fails with 17 when a file of the new name exists, EFLOCKED while anybody has the old one open. */
ISAM_API int isrename(const char* old_name, const char* new_name);

/* ---- Indexes ------------------------------------------------------------------------------- */

/* Adds an index and fills it from the live records. Needs ISEXCLLOCK. Fails with EKEXISTS, EBADKEY,
 * EDUPL (the records' keys are not unique, or too many are equal); the file is then as before. */
ISAM_API int isaddindex(int handle, const struct keydesc* key);
/* Needs ISEXCLLOCK. EPRIMKEY for the primary key, EBADKEY when there is no such index. */
ISAM_API int isdelindex(int handle, const struct keydesc* key);
/* Index 0 fills a struct dictinfo, index k from 1 the struct keydesc of the k-th index (all zero
 * for a primary key without parts). EBADARG beyond the last. */
ISAM_API int isindexinfo(int handle, void* buffer, int index);
ISAM_API int isisaminfo(int handle, struct dictinfo* info);

/* ---- Reading ------------------------------------------------------------------------------- */

/* Selects the index with these parts (no parts: order of record numbers) and positions on a record,
 * which ISNEXT and ISCURR then read. `length`: that many bytes of the key count, 0 for all.
 * `record` holds the wanted key at its place (isrecnum the wanted number when there are no parts).
 * Sets isrecnum. ISFIRST and ISLAST succeed on an empty index. */
ISAM_API int isstart(int handle, const struct keydesc* key, int length, const char* record,
                     int mode);
/* Reads a record of the selected index into `record` (record length bytes; for ISEQUAL, ISGREAT and
 * ISGTEQ it holds the wanted key) and makes it the current one. Sets isrecnum and isreclen. Fails
 * with EENDFILE (ISFIRST to ISPREV), ENOCURR (ISCURR), ENOREC (others), ELOCKED. */
ISAM_API int isread(int handle, char* record, int mode);

/* ---- Writing: all set isrecnum; all fail with EDUPL, ELOCKED, ENOTOPEN and system errors, and a
 * failed call has changed nothing -------------------------------------------------------------- */

ISAM_API int iswrite(int handle, const char* record);
ISAM_API int iswrcurr(int handle, const char* record); /* the new record becomes the current one */
ISAM_API int iswrlock(int handle, const char* record); /* the new record is locked */
/* The record with the same primary key; ENOREC, ENOPRIM, EPRIMKEY when the key allows duplicates.
 */
ISAM_API int isrewrite(int handle, const char* record);
ISAM_API int isdelete(int handle, const char* record);
/* The current record, with ENOCURR when there is none. isrewnxt also wants its primary key
 * unchanged (EPRIMKEY). Deleting it keeps the position between its neighbours. */
ISAM_API int isrewcurr(int handle, const char* record);
ISAM_API int isrewnxt(int handle, const char* record);
ISAM_API int isdelcurr(int handle);
/* By number, with ENOREC when there is no such live record. */
ISAM_API int isrewrec(int handle, int32_t number, const char* record);
ISAM_API int isdelrec(int handle, int32_t number);

/* ---- The rest ------------------------------------------------------------------------------ */

/* Stores the next unique identifier of the file and counts it on. */
ISAM_API int isuniqueid(int handle, int32_t* identifier);
/* The identifier that isuniqueid gives next. */
ISAM_API int issetunique(int handle, int32_t identifier);
/* Non-zero: numbers of deleted records are never given again. Zero: they are, lowest first. */
ISAM_API int isprecious(int handle, int flag);

/* The status variables, for languages that cannot reach them. */
ISAM_API int is_errno(void);
ISAM_API int is_errio(void);
ISAM_API int32_t is_recnum(void);
ISAM_API int is_reclen(void);
/* Unpacks an error word into four status characters; returns the error number. */
ISAM_API int is_cobol_err(int word, char status[4]);

#ifdef __cplusplus
}
#endif

#endif
