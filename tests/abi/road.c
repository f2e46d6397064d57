/* A backup program in C, linked to the shared library as every program of the system is: it asks for a medium on a
 * simulated site, where tb_init has to prepare one. */
#include <stdio.h>
#include <string.h>
#include <tamba/tamba.h>

static int expect(const char *what, const char *found, const char *wanted)
{
    if (strcmp(found, wanted) == 0)
        return 1;
    printf("%s: \"%s\" instead of \"%s\"\n", what, found, wanted);
    return 0;
}

int main(void)
{
    TraceContext trace = {0};
    char drive[TAMBA_DRIVE_SIZE] = "3", medium[TAMBA_LABEL_SIZE] = "WEEKLY";
    char msg[TAMBA_MEDIA_MSG_SIZE] = "", told[TAMBA_GLBV_SIZE] = "";

    v_set_log_main("road.lgc", "ROAD", &trace);
    if (i_CHECK_MEDIUM_FOR_BACKUP(drive, medium, "road", msg, trace) != 1) {
        printf("no medium: %s\n", msg);
        return 1;
    }
    glbv("r", "gv_init_msg_3", told);
    if (!expect("drive", drive, "3") || !expect("medium", medium, "WEEKLY00005") ||
        !expect("variable", told, "WEEKLY00005"))
        return 1;
    printf("the backup goes to %s in drive %s\n", medium, drive);
    return 0;
}
