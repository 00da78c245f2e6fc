/* SPDX-License-Identifier: MIT */
/* The fixed-layout records that the agent, its host and the platform exchange. */
#ifndef OTASWAGENT_RECORDS_H
#define OTASWAGENT_RECORDS_H

#include <stdint.h>

/*
 * Every text field is a NUL-terminated byte string in a buffer of the width
 * given, terminator included: a field of width W holds at most W - 1 characters
 * and longer text is cut without a word. Natural C alignment, fields in the order
 * shown. A field's JSON key is its name, letter for letter, misspellings included.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum {
    OTA_PATH_WIDTH = 32,           /* an entry of the runtime path table */
    OTA_TIMER_NAME_WIDTH = 32,     /* the name in a timer request */
    OTA_TIME_TEXT_WIDTH = 32,      /* a time of day, "hh:mm[:ss]" */
    OTA_MODEL_WIDTH = 32,          /* a device model */
    OTA_SERIAL_WIDTH = 32,         /* a serial number */
    OTA_MAC_WIDTH = 18,            /* "AA:BB:CC:DD:EE:FF" */
    OTA_VERSION_WIDTH = 64,        /* a software version */
    OTA_URL_WIDTH = 8192,          /* a file-server or service URL */
    OTA_CHECKSUM_WIDTH = 48,       /* an MD5 sum as hexadecimal text */
    OTA_STATUS_WIDTH = 50,         /* a status word */
    OTA_TIME_STAMP_WIDTH = 64,     /* "yyyy-mm-ddThh:mm:ss" */
    OTA_FILE_PATH_WIDTH = 256,     /* a full path in the download context */
    OTA_MATRIX_ENTRIES = 16,       /* version entries in a PostPload */
    OTA_SYNC_MSG_CONFIG_OFFSET = 4 /* where the text of a SwmgntSyncMsg begins */
};

/* Configuration of the connection to the software-management service. */
typedef struct SwmgntCfg {
    char url[OTA_URL_WIDTH];                  /* server URL */
    char key[1024];                           /* access key for the server */
    char activationTime[OTA_TIME_TEXT_WIDTH]; /* activation time as text */
    char pollingTime[OTA_TIME_TEXT_WIDTH];    /* polling time; read, never written */
} SwmgntCfg;

/* One entry of a version matrix. */
typedef struct MatrixItem {
    char model[OTA_MODEL_WIDTH];          /* device model the entry applies to */
    char nxtMSVersion[OTA_VERSION_WIDTH]; /* next software version */
    char fileServerURL[OTA_URL_WIDTH];    /* URL of the image file */
    char checksum[OTA_CHECKSUM_WIDTH];    /* MD5 sum of the image, hexadecimal */
    int32_t policy;                       /* upgrade policy, see OtaMatrixItem */
} MatrixItem;

/* The new-image descriptor sent to one node. */
typedef struct OtaMatrixItem {
    char model[OTA_MODEL_WIDTH];          /* device model */
    char nxtMSVersion[OTA_VERSION_WIDTH]; /* target software version */
    char fileServerURL[OTA_URL_WIDTH];    /* URL of the image file */
    char checksum[OTA_CHECKSUM_WIDTH];    /* MD5 sum of the image, hexadecimal */
    char mac[OTA_MAC_WIDTH];              /* the node the image is meant for */
    int32_t policy;                       /* 0 activate at the activation time, 1 activate
                                             and reboot after the write, 2 write only,
                                             3 activate and reboot on arrival */
} OtaMatrixItem;

/* A server's answer to a version query. It carries no element count. */
typedef struct PostPload {
    int32_t responseCode;                    /* result code */
    char responseMsg[100];                   /* result text */
    MatrixItem versions[OTA_MATRIX_ENTRIES]; /* offered versions */
} PostPload;

/* The status report of one node. */
typedef struct UpgradeStatus {
    char model[OTA_MODEL_WIDTH];           /* model name of this node */
    char curswversion[OTA_VERSION_WIDTH];  /* running; in OTA_SW_ACTIVATION_COMPLETE the offered */
    char prevswversion[OTA_VERSION_WIDTH]; /* of the other bank, or empty; in that the running */
    char mac[OTA_MAC_WIDTH];               /* MAC address of "br0", upper case */
    char sn[OTA_SERIAL_WIDTH];             /* serial number */
    char status[OTA_STATUS_WIDTH];         /* status word, see status_words.h */
} UpgradeStatus;

/* Description of a node: vendor, versions and the addresses of its interfaces. */
typedef struct ZorvanInfo {
    char mac[OTA_MAC_WIDTH];
    char vender[32];
    char model[OTA_MODEL_WIDTH];
    char sn[OTA_SERIAL_WIDTH];
    char swversion[OTA_VERSION_WIDTH];
    char hwversion[32];
    char wifi_2g_mac[OTA_MAC_WIDTH];
    char wifi_5g_mac[OTA_MAC_WIDTH];
    char eth_wan_mac[OTA_MAC_WIDTH];
    char wds_2g_mac[OTA_MAC_WIDTH];
    char wds_5g_mac[OTA_MAC_WIDTH];
    int32_t first_up; /* as the service delivers it */
} ZorvanInfo;

/* The activation time for one node. */
typedef struct ActivationTime {
    char model[OTA_MODEL_WIDTH];
    char mac[OTA_MAC_WIDTH];
    char sn[OTA_SERIAL_WIDTH];
    char actTime[OTA_TIME_TEXT_WIDTH]; /* "hh[:mm[:ss]]", 24-hour local time */
} ActivationTime;

/* Envelope of a signal that an extender forwards to the root node. */
typedef struct SwmgntBroadcastInfo {
    char type[50];         /* kind of envelope, "swmgnt_info" */
    int32_t sequence;      /* 1 in every envelope */
    char mac[100];         /* empty */
    char version[50];      /* "1.0.0" */
    char signalname[100];  /* name of the forwarded signal */
    char signaldata[4196]; /* its payload: JSON text, carried as a JSON string */
} SwmgntBroadcastInfo;

/*
 * What is handed to nwa_sendNotificationToRoot: this length in host byte order, then
 * `dataLen` bytes at OTA_SYNC_MSG_CONFIG_OFFSET, the envelope's JSON text with its NUL.
 */
typedef struct SwmgntSyncMsg {
    uint32_t dataLen; /* bytes that follow, the terminating NUL included */
} SwmgntSyncMsg;

/* How this node is to take the upgrade; arrives with every new-image signal. */
typedef struct OtaLibConfig {
    uint8_t OffloadDownloadActivate; /* not 0: hand the image over to the gateway */
    int32_t initial_obardingStatus;  /* 0 together with firsttime_polling 1: first onboarding */
    int32_t firsttime_polling;       /* 1: announced by the first poll after the node came up */
} OtaLibConfig;

/* The mobile app's trigger. Only the first field is read. */
typedef struct MobileAppNotify {
    int32_t newswavailflag; /* 1: the user asks for the new software now */
} MobileAppNotify;

/*
 * The download context. A host may set `authEnabled`, `userName`, `password` and `mss`
 * before a download; nothing in the agent changes them after start-up.
 */
typedef struct HttpInfo {
    uint32_t timeout;                       /* seconds; kept for the record, not read */
    uint32_t authEnabled;                   /* not 0: send userName and password */
    char userName[OTA_FILE_PATH_WIDTH];     /* "None" at start-up */
    char password[OTA_FILE_PATH_WIDTH];     /* "None" at start-up */
    int32_t mss;                            /* TCP maximum segment size; 0 or less: default */
    char url[OTA_URL_WIDTH];                /* URL of the current download */
    char downloadPath[OTA_FILE_PATH_WIDTH]; /* the image file being written */
    uint32_t reservedValue;
    uint8_t reservedArea[512];
    char certPath[OTA_FILE_PATH_WIDTH]; /* CA certificate file for https */
    char reservedText[836];
} HttpInfo;

#ifdef __cplusplus
}
#endif

#endif
