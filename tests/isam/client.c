/* The engine as a C program uses it; the status is 0 when everything came out as it should. */

#include <isam.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition)                                                          \
  do {                                                                            \
    if (!(condition)) {                                                           \
      fprintf(stderr, "line %d: %s (error %d)\n", __LINE__, #condition, iserrno); \
      failures++;                                                                 \
    }                                                                             \
  } while (0)

enum { LENGTH = 24 };

/* Name in columns 0 to 7, town in 8 to 15. */
static const char* people[] = {"DORA    PARIS   ....1...", "ADA     LONDON  ....2...",
                               "CARL    PARIS   ....3...", "BERT    BERLIN  ....4..."};

static struct keydesc key_at(short start, short flags) {
  struct keydesc key;
  memset(&key, 0, sizeof key);
  key.k_flags = flags;
  key.k_nparts = 1;
  key.k_part[0].kp_start = start;
  key.k_part[0].kp_leng = 8;
  key.k_part[0].kp_type = CHARTYPE;
  return key;
}

static int reads(int handle, int mode, const char* key, const char* expected) {
  char record[LENGTH + 1] = {0};
  memcpy(record, key, strlen(key));
  return isread(handle, record, mode) == 0 && isreclen == LENGTH &&
         strncmp(record, expected, strlen(expected)) == 0;
}

static void read_in_every_mode(int handle) {
  CHECK(reads(handle, ISFIRST, "", "ADA"));
  CHECK(reads(handle, ISNEXT, "", "BERT"));
  CHECK(reads(handle, ISCURR, "", "BERT"));
  CHECK(reads(handle, ISPREV, "", "ADA"));
  CHECK(!reads(handle, ISPREV, "", "") && iserrno == EENDFILE);
  CHECK(reads(handle, ISNEXT, "", "ADA")); /* the end that was reached */
  CHECK(reads(handle, ISLAST, "", "DORA"));
  CHECK(!reads(handle, ISNEXT, "", "") && iserrno == EENDFILE);
  CHECK(isstat1 == '1' && isstat2 == '0' && isstat3 == '4' && isstat4 == '6');
  CHECK(reads(handle, ISPREV, "", "DORA"));
  CHECK(reads(handle, ISEQUAL, "CARL    ", "CARL"));
  CHECK(reads(handle, ISGREAT, "CARL    ", "DORA"));
  CHECK(reads(handle, ISGTEQ, "B       ", "BERT"));
  CHECK(!reads(handle, ISEQUAL, "NOBODY  ", "") && iserrno == ENOREC);
  CHECK(isstat1 == '2' && isstat2 == '3' && isstat3 == '2' && isstat4 == '3');
}

static void follow_the_alternate_index(int handle) {
  struct keydesc towns = key_at(8, ISDUPS);
  struct keydesc names = key_at(0, ISNODUPS);
  char record[LENGTH] = "        PARIS   ";
  CHECK(isaddindex(handle, &towns) == 0);
  CHECK(isaddindex(handle, &towns) == -1 && iserrno == EKEXISTS);
  CHECK(isstart(handle, &towns, 0, record, ISEQUAL) == 0);
  CHECK(reads(handle, ISNEXT, "", "DORA")); /* in order of arrival */
  CHECK(reads(handle, ISNEXT, "", "CARL"));
  CHECK(!reads(handle, ISNEXT, "", "") && iserrno == EENDFILE);
  CHECK(isstart(handle, &towns, 1, "        L      ", ISGTEQ) == 0);
  CHECK(reads(handle, ISNEXT, "", "ADA"));
  CHECK(isdelindex(handle, &towns) == 0);
  CHECK(isstart(handle, &towns, 0, record, ISFIRST) == -1 && iserrno == EBADKEY);
  CHECK(isdelindex(handle, &names) == -1 && iserrno == EPRIMKEY);
  CHECK(isstart(handle, &names, 0, record, ISFIRST) == 0);
}

static void change_records(int handle) {
  char record[LENGTH + 1];
  int32_t identifier = 0;
  strcpy(record, "BERT    PARIS   ....4...");
  CHECK(isrewrite(handle, record) == 0);
  CHECK(reads(handle, ISEQUAL, "BERT    ", "BERT    PARIS"));
  CHECK(isdelcurr(handle) == 0);
  CHECK(isrewcurr(handle, record) == -1 && iserrno == ENOCURR);
  CHECK(reads(handle, ISNEXT, "", "CARL")); /* between its neighbours */
  CHECK(isdelete(handle, "BERT    ") == -1 && iserrno == ENOREC);
  CHECK(iswrcurr(handle, record) == 0);
  CHECK(reads(handle, ISNEXT, "", "CARL"));
  strcpy(record, "CARLO   ROME    ....5...");
  CHECK(isrewnxt(handle, record) == -1 && iserrno == EPRIMKEY);
  CHECK(isrewcurr(handle, record) == 0);
  CHECK(reads(handle, ISNEXT, "", "DORA"));
  CHECK(isrewrec(handle, 99, record) == -1 && iserrno == ENOREC);
  CHECK(isdelrec(handle, 99) == -1 && iserrno == ENOREC);
  CHECK(iswrite(handle, record) == -1 && iserrno == EDUPL && is_errno() == EDUPL);
  CHECK(isuniqueid(handle, &identifier) == 0 && identifier == 1);
  CHECK(issetunique(handle, 7) == 0);
  CHECK(isuniqueid(handle, &identifier) == 0 && identifier == 7);
  CHECK(isprecious(handle, 1) == 0 && isprecious(handle, 0) == 0);
  CHECK(isflush(handle) == 0);
}

static void look_at_the_file(int handle) {
  struct dictinfo info;
  struct keydesc key;
  CHECK(isindexinfo(handle, &info, 0) == 0 && info.di_nkeys == 1 && info.di_recsize == LENGTH);
  CHECK(isisaminfo(handle, &info) == 0 && info.di_nrecords == 4 && info.di_idxsize == 1024);
  CHECK(isindexinfo(handle, &key, 1) == 0 && key.k_len == 8 && key.k_rootnode == 3);
  CHECK(isindexinfo(handle, &key, 2) == -1 && iserrno == EBADARG);
}

static void refuse(const char* name) {
  struct keydesc key = key_at(0, ISNODUPS);
  char status[4];
  CHECK(isread(-1, status, ISFIRST) == -1 && iserrno == ENOTOPEN);
  CHECK(isstat1 == '9' && isstat2 == '0' && isstat3 == '4' && isstat4 == '0');
  CHECK(isbuild(name, LENGTH, &key, ISINOUT) == -1 && iserrno == 17);
  CHECK(isbuild("other", LENGTH, &key, ISINOUT | ISNODESIZE(33)) == -1 && iserrno == EBADARG);
  CHECK(isbuild("other", LENGTH, &key, ISINOUT | ISDUPWIDTH(5)) == -1 && iserrno == EBADARG);
  key.k_part[0].kp_start = 17;
  CHECK(isbuild("other", LENGTH, &key, ISINOUT) == -1 && iserrno == EBADKEY);
  CHECK(isvbuild("other", 10, 20, &key, ISINOUT) == -1 && iserrno == EBADARG);
  CHECK(isopen("nowhere", ISINPUT) == -1 && iserrno == 2);
  CHECK(is_cobol_err(0x0065 * 0x10000, status) == 100);
  CHECK(strcmp(is_errlist[EDUPL - 100], "Duplicate record") == 0 && is_nerr == 46);
}

int main(int argc, char** argv) {
  const char* const name = argc > 1 ? argv[1] : "client";
  struct keydesc names = key_at(0, ISNODUPS);
  char other[256];
  int handle, i;
  snprintf(other, sizeof other, "%s.moved", name);
  (void)iserase(name); /* of a run that died */
  (void)iserase(other);
  handle = isbuild(name, LENGTH, &names, ISINOUT | ISEXCLLOCK);
  CHECK(handle >= 0);
  for (i = 0; i < 4; i++) CHECK(iswrite(handle, people[i]) == 0 && isrecnum == i + 1);
  read_in_every_mode(handle);
  follow_the_alternate_index(handle);
  change_records(handle);
  look_at_the_file(handle);
  refuse(name);
  CHECK(iserase(name) == -1 && iserrno == EFLOCKED);
  CHECK(isclose(handle) == 0);
  CHECK(isclose(handle) == -1 && iserrno == ENOTOPEN);
  CHECK(isrename(name, other) == 0);
  handle = isopen(other, ISINPUT | ISMANULOCK);
  CHECK(handle >= 0);
  CHECK(iswrite(handle, people[0]) == -1 && iserrno == ENOTOPEN);
  CHECK(isclose(handle) == 0);
  CHECK(iserase(other) == 0);
  CHECK(isopen(other, ISINPUT) == -1 && iserrno == 2);
  return failures == 0 ? 0 : 1;
}
