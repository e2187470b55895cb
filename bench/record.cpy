      * The records that all jobs but those of 36-bit words move.
       01  BENCH-RECORD.
           05  BR-KEY              PIC 9(8).
           05  BR-GROUP            PIC X(10).
           05  BR-DATE-1           PIC 9(6).
           05  BR-DATE-2           PIC 9(6).
           05  BR-DATE-3           PIC 9(6).
           05  BR-DATE-4           PIC 9(6).
           05  BR-PACKED-1         PIC S9(7) COMP-3.
           05  BR-PACKED-2         PIC S9(7) COMP-3.
           05  BR-PACKED-3         PIC S9(7) COMP-3.
           05  BR-PACKED-4         PIC S9(7) COMP-3.
           05  BR-NAME             PIC X(7).
           05  BR-NUMBER           PIC S9(9) COMP.
           05  BR-BALANCE          PIC S9(7).
           05  BR-TEXT             PIC X(24).
