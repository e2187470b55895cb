      * The flat restore as a COBOL programmer would write it: each
      * character looked up in a table, the sign set digit by digit.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. FLAT.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT IN-FILE ASSIGN TO IN-NAME
               ORGANIZATION IS SEQUENTIAL.
           SELECT OUT-FILE ASSIGN TO OUT-NAME
               ORGANIZATION IS SEQUENTIAL.
           SELECT TABLE-FILE ASSIGN TO TABLE-NAME
               ORGANIZATION IS SEQUENTIAL.
       DATA DIVISION.
       FILE SECTION.
       FD  IN-FILE.
       01  IN-RECORD.
           05  IN-BYTE             PIC X OCCURS 100.
       FD  OUT-FILE.
       01  OUT-RECORD.
           05  OUT-BYTE            PIC X OCCURS 100.
       FD  TABLE-FILE.
       01  TABLE-RECORD            PIC X(256).
       WORKING-STORAGE SECTION.
       01  IN-NAME                 PIC X(256).
       01  OUT-NAME                PIC X(256).
       01  TABLE-NAME              PIC X(256).
       01  CHARACTER-TABLE.
           05  TABLE-BYTE          PIC X OCCURS 256.
       01  I                       PIC S9(9) COMP-5.
       01  CODE-NUMBER             PIC 9(4) COMP-5 VALUE 0.
       01  CODE-BYTES REDEFINES CODE-NUMBER.
           05  CODE-LOW            PIC X.
           05  CODE-HIGH           PIC X.
       01  AT-END-FLAG             PIC X VALUE "N".
       PROCEDURE DIVISION.
           ACCEPT IN-NAME FROM ENVIRONMENT "IN"
           ACCEPT OUT-NAME FROM ENVIRONMENT "OUT"
           ACCEPT TABLE-NAME FROM ENVIRONMENT "TABLE"
           OPEN INPUT TABLE-FILE
           READ TABLE-FILE INTO CHARACTER-TABLE
           CLOSE TABLE-FILE
           OPEN INPUT IN-FILE OUTPUT OUT-FILE
           PERFORM UNTIL AT-END-FLAG = "Y"
               READ IN-FILE
                   AT END MOVE "Y" TO AT-END-FLAG
                   NOT AT END PERFORM CONVERT-RECORD
               END-READ
           END-PERFORM
           CLOSE IN-FILE OUT-FILE
           STOP RUN.
       CONVERT-RECORD.
           PERFORM VARYING I FROM 1 BY 1 UNTIL I > 100
               MOVE IN-BYTE (I) TO CODE-LOW
               MOVE TABLE-BYTE (CODE-NUMBER + 1) TO OUT-BYTE (I)
           END-PERFORM
           MOVE IN-RECORD (43:16) TO OUT-RECORD (43:16)
           MOVE IN-RECORD (66:4) TO OUT-RECORD (66:4)
           MOVE IN-BYTE (76) TO CODE-LOW
           EVALUATE TRUE
               WHEN CODE-NUMBER >= 208 AND CODE-NUMBER < 224
                   SUBTRACT 96 FROM CODE-NUMBER
               WHEN CODE-NUMBER >= 240
                   SUBTRACT 192 FROM CODE-NUMBER
               WHEN OTHER
                   SUBTRACT 144 FROM CODE-NUMBER
           END-EVALUATE
           MOVE CODE-LOW TO OUT-BYTE (76)
           MOVE 0 TO CODE-NUMBER
           WRITE OUT-RECORD.
