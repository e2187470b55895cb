      * The jobs of isam_bench with the indexed files of the COBOL
      * compiler: JOB and file names as words of the command line.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. INDEXED-JOBS.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT STORE ASSIGN TO STORE-NAME
               ORGANIZATION IS INDEXED ACCESS MODE IS DYNAMIC
               RECORD KEY IS STORE-KEY.
           SELECT STORE-X ASSIGN TO STORE-NAME
               ORGANIZATION IS INDEXED ACCESS MODE IS DYNAMIC
               RECORD KEY IS STORE-X-KEY
               ALTERNATE RECORD KEY IS STORE-X-GROUP WITH DUPLICATES.
           SELECT FLAT-FILE ASSIGN TO FLAT-NAME
               ORGANIZATION IS SEQUENTIAL.
           SELECT KEY-FILE ASSIGN TO FLAT-NAME
               ORGANIZATION IS SEQUENTIAL.
       DATA DIVISION.
       FILE SECTION.
       FD  STORE.
       01  STORE-RECORD.
           05  STORE-KEY           PIC X(8).
           05  FILLER              PIC X(57).
           05  STORE-NUMBER        PIC S9(9) COMP.
           05  FILLER              PIC X(30).
           05  STORE-MARK          PIC X.
       FD  STORE-X.
       01  STORE-X-RECORD.
           05  STORE-X-KEY         PIC X(8).
           05  STORE-X-GROUP       PIC X(10).
           05  FILLER              PIC X(82).
       FD  FLAT-FILE.
       01  FLAT-RECORD             PIC X(100).
       FD  KEY-FILE.
       01  KEY-RECORD              PIC X(8).
       WORKING-STORAGE SECTION.
       01  JOB-NAME                PIC X(8).
       01  STORE-NAME              PIC X(256).
       01  FLAT-NAME               PIC X(256).
       01  RECORDS-DONE            PIC S9(18) COMP-5 VALUE 0.
       01  SUM-OF-NUMBERS          PIC S9(18) COMP-5 VALUE 0.
       01  SHOWN-COUNT             PIC -(18)9.
       01  SHOWN-SUM               PIC -(18)9.
       01  AT-END-FLAG             PIC X VALUE "N".
           88  AT-THE-END          VALUE "Y".
       PROCEDURE DIVISION.
           ACCEPT JOB-NAME FROM ARGUMENT-VALUE
           IF JOB-NAME = "load" OR "loadx"
               ACCEPT FLAT-NAME FROM ARGUMENT-VALUE
               ACCEPT STORE-NAME FROM ARGUMENT-VALUE
           ELSE
               ACCEPT STORE-NAME FROM ARGUMENT-VALUE
               ACCEPT FLAT-NAME FROM ARGUMENT-VALUE
           END-IF
           EVALUATE JOB-NAME
               WHEN "load"  PERFORM LOAD-STORE
               WHEN "loadx" PERFORM LOAD-STORE-X
               WHEN "q1"    PERFORM READ-BY-KEY
               WHEN "q2"    PERFORM READ-IN-ORDER
               WHEN "u1"    PERFORM UPDATE-PAIRS
               WHEN "dump"  PERFORM DUMP-STORE
               WHEN OTHER   STOP RUN RETURNING 2
           END-EVALUATE
           MOVE RECORDS-DONE TO SHOWN-COUNT
           MOVE SUM-OF-NUMBERS TO SHOWN-SUM
           DISPLAY "n=" FUNCTION TRIM (SHOWN-COUNT)
               " sum=" FUNCTION TRIM (SHOWN-SUM)
           STOP RUN.
       LOAD-STORE.
           OPEN INPUT FLAT-FILE OUTPUT STORE
           PERFORM UNTIL AT-THE-END
               READ FLAT-FILE INTO STORE-RECORD
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END
                       WRITE STORE-RECORD
                           INVALID KEY STOP RUN RETURNING 1
                       END-WRITE
                       ADD 1 TO RECORDS-DONE
               END-READ
           END-PERFORM
           CLOSE FLAT-FILE STORE.
       LOAD-STORE-X.
           OPEN INPUT FLAT-FILE OUTPUT STORE-X
           PERFORM UNTIL AT-THE-END
               READ FLAT-FILE INTO STORE-X-RECORD
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END
                       WRITE STORE-X-RECORD
                           INVALID KEY STOP RUN RETURNING 1
                       END-WRITE
                       ADD 1 TO RECORDS-DONE
               END-READ
           END-PERFORM
           CLOSE FLAT-FILE STORE-X.
       READ-BY-KEY.
           OPEN INPUT KEY-FILE STORE
           PERFORM UNTIL AT-THE-END
               READ KEY-FILE INTO STORE-KEY
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END PERFORM READ-STORE
                       ADD STORE-NUMBER TO SUM-OF-NUMBERS
                       ADD 1 TO RECORDS-DONE
               END-READ
           END-PERFORM
           CLOSE KEY-FILE STORE.
       READ-IN-ORDER.
           OPEN INPUT STORE
           PERFORM UNTIL AT-THE-END
               READ STORE NEXT RECORD
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END ADD STORE-NUMBER TO SUM-OF-NUMBERS
                       ADD 1 TO RECORDS-DONE
               END-READ
           END-PERFORM
           CLOSE STORE.
       UPDATE-PAIRS.
           OPEN INPUT KEY-FILE I-O STORE
           PERFORM UNTIL AT-THE-END
               READ KEY-FILE INTO STORE-KEY
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END PERFORM UPDATE-PAIR
               END-READ
           END-PERFORM
           CLOSE KEY-FILE STORE.
       UPDATE-PAIR.
           PERFORM READ-STORE
           ADD 1 TO STORE-NUMBER
           MOVE "U" TO STORE-MARK
           REWRITE STORE-RECORD
               INVALID KEY STOP RUN RETURNING 1
           END-REWRITE
           READ KEY-FILE INTO STORE-KEY
               AT END STOP RUN RETURNING 1
           END-READ
           PERFORM READ-STORE
           DELETE STORE RECORD
               INVALID KEY STOP RUN RETURNING 1
           END-DELETE
           WRITE STORE-RECORD
               INVALID KEY STOP RUN RETURNING 1
           END-WRITE
           ADD 1 TO RECORDS-DONE.
       DUMP-STORE.
           OPEN INPUT STORE OUTPUT FLAT-FILE
           PERFORM UNTIL AT-THE-END
               READ STORE NEXT RECORD INTO FLAT-RECORD
                   AT END SET AT-THE-END TO TRUE
                   NOT AT END WRITE FLAT-RECORD
                       ADD 1 TO RECORDS-DONE
               END-READ
           END-PERFORM
           CLOSE STORE FLAT-FILE.
       READ-STORE.
           READ STORE
               INVALID KEY STOP RUN RETURNING 1
           END-READ.
