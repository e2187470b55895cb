      * The records of the example payroll: 80 bytes.
       01  PAY-RECORD.
           05  PAY-EMPLOYEE-NO       PIC 9(6).
           05  PAY-NAME              PIC X(24).
           05  PAY-DEPARTMENT        PIC X(4).
           05  PAY-HIRED             PIC 9(6).
           05  PAY-STATUS            PIC X.
           05  PAY-HOURS             PIC S9(5)V99.
           05  PAY-SALARY            PIC S9(7)V99 COMP-3.
           05  PAY-TAX               PIC S9(7)V99 COMP-3.
           05  PAY-LEAVE-DAYS        PIC S9(4) COMP.
           05  PAY-LAST-PAID         PIC 9(5) COMP-3.
           05  PAY-TOWN              PIC X(17).
