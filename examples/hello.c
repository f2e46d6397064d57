/* A program of the system: reads the catalogue and leaves a line in the protocol. */
#include <stdio.h>
#include <tamba/tamba.h>

int main(void)
{
    TraceContext trace = {0};
    DB_REC_LIST drives = {"drives", 0, 0, NULL, NULL};
    char msg[TAMBA_DB_MSG_SIZE], protocol[TAMBA_GLBV_SIZE], number[32], name[256];

    v_set_log_main("hello.lgc", "HELLO", &trace);
    if (!iDB_ACCESS("select drive_num, name from hw_drives order by drive_num", msg, &drives, trace)) {
        PROT("E001-HELLO   The catalogue does not answer: %s", msg);
        return 1;
    }
    for (int32_t row = 1; row <= (int32_t)drives.count; ++row)
        if (iDB_SEL_GET(&drives, row, msg, trace, "drive_num", number, "name", name, "x"))
            printf("drive %s is called %s\n", number, name);
    PROT("I001-HELLO   %d drives found", (int)drives.count);
    DB_SEL_LOOP_RECORDS(&drives, 'd');
    printf("protocol: %s\n", glbv("r", "gv_prot", protocol));
    return 0;
}
