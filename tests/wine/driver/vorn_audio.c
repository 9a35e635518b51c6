/* The test driver: a root-enumerated WDM driver that answers the five control requests of the audio
 * device. It makes no sound; it exists so that the shipped executable can talk to a real kernel
 * driver.
 *
 * The version that it reports is compiled in (VORN_PACKED_VERSION, VORN_REVISION), so that packages
 * of several versions have images that differ. How it misbehaves is read from the key "Parameters"
 * below its service key when it is loaded; see `settings`. What it hid is written to the key
 * "Visibility", one value for each endpoint, so that the endpoint catalog of the tests can follow.
 */

#include <ntddk.h>

#ifndef VORN_PACKED_VERSION
#define VORN_PACKED_VERSION 0x1A080A
#endif
#ifndef VORN_REVISION
#define VORN_REVISION 5
#endif

#define CABLES 10
#define FLOWS 2
#define POOL_ENTRIES 20
#define NAME_UNITS 64

#define IOCTL_ACQUIRE_LEASE 0x226000
#define IOCTL_RELEASE_LEASE 0x22A004
#define IOCTL_GET_STATUS 0x226010
#define IOCTL_SET_VISIBILITY 0x22A01C
#define IOCTL_ENDPOINT_POOL 0x226020

typedef struct {
  ULONG cable;
  ULONG flow;
  ULONG reserved;
  WCHAR name[NAME_UNITS];
} PoolEntry;

typedef struct {
  ULONG count;
  PoolEntry entries[POOL_ENTRIES];
} PoolReply;

C_ASSERT(sizeof(PoolEntry) == 140);
C_ASSERT(sizeof(PoolReply) == 2804);

typedef struct {
  ULONG cable;
  ULONG flow;
  ULONG visible;
} VisibilityRequest;

typedef struct {
  DEVICE_OBJECT* lower;
  UNICODE_STRING interfaceName;
  BOOLEAN started;
} Extension;

/* What the driver reports and how it misbehaves; each can be set under "Parameters". */
static struct {
  ULONG loadedVersion;
  ULONG revision;
  ULONG lifecycleAbi;
  ULONG sharedMemoryAbi;
  ULONG capabilities;
  ULONG statusBytes;
  ULONG poolCount;
  ULONG poolBytes;
  ULONG leaseBytes;
  ULONG refuseHide;       /* 0, or 1 + flow * 10 + cable of the endpoint that will not hide */
  ULONG unterminatedName; /* 0, or 1 + index of the pool entry */
  ULONG neverAnswers;     /* 0, or a control code whose request is never completed */
} settings;

static UNICODE_STRING serviceKey;
static WCHAR serviceKeyBuffer[512];
static FILE_OBJECT* leaseHolder;

static const GUID controlInterface = {
    0xA3F2B8C1, 0x7D4E, 0x4F5A, {0x9B, 0x2C, 0x1E, 0x8D, 0x6F, 0x3A, 0x4B, 0x5C}};

/* ---------------------------------------------------------------------------------------------- */

static HANDLE OpenServiceSubkey(const WCHAR* name, ACCESS_MASK access, BOOLEAN create) {
  WCHAR path[640];
  UNICODE_STRING key = {0, sizeof path, path};
  OBJECT_ATTRIBUTES attributes;
  HANDLE handle = NULL;
  RtlCopyUnicodeString(&key, &serviceKey);
  RtlAppendUnicodeToString(&key, L"\\");
  RtlAppendUnicodeToString(&key, name);
  InitializeObjectAttributes(&attributes, &key, OBJ_CASE_INSENSITIVE | OBJ_KERNEL_HANDLE, NULL,
                             NULL);
  if (create) {
    ZwCreateKey(&handle, access, &attributes, 0, NULL, REG_OPTION_NON_VOLATILE, NULL);
  } else {
    ZwOpenKey(&handle, access, &attributes);
  }
  return handle;
}

static void ReadSetting(HANDLE key, const WCHAR* name, ULONG* value) {
  UCHAR buffer[sizeof(KEY_VALUE_PARTIAL_INFORMATION) + sizeof(ULONG)];
  KEY_VALUE_PARTIAL_INFORMATION* information = (KEY_VALUE_PARTIAL_INFORMATION*)buffer;
  UNICODE_STRING valueName;
  ULONG size;
  RtlInitUnicodeString(&valueName, name);
  if (ZwQueryValueKey(key, &valueName, KeyValuePartialInformation, information, sizeof buffer,
                      &size) >= 0 &&
      information->Type == REG_DWORD && information->DataLength == sizeof(ULONG)) {
    *value = *(ULONG*)information->Data;
  }
}

static void ReadSettings(void) {
  HANDLE key;
  settings.loadedVersion = VORN_PACKED_VERSION;
  settings.revision = VORN_REVISION;
  settings.lifecycleAbi = 3;
  settings.sharedMemoryAbi = 3;
  settings.capabilities = 1;
  settings.statusBytes = 128;
  settings.poolCount = POOL_ENTRIES;
  settings.poolBytes = sizeof(PoolReply);
  settings.leaseBytes = 16;
  settings.refuseHide = 0;
  settings.unterminatedName = 0;
  settings.neverAnswers = 0;
  key = OpenServiceSubkey(L"Parameters", KEY_READ, FALSE);
  if (!key) return;
  ReadSetting(key, L"LoadedVersion", &settings.loadedVersion);
  ReadSetting(key, L"Revision", &settings.revision);
  ReadSetting(key, L"LifecycleAbi", &settings.lifecycleAbi);
  ReadSetting(key, L"SharedMemoryAbi", &settings.sharedMemoryAbi);
  ReadSetting(key, L"Capabilities", &settings.capabilities);
  ReadSetting(key, L"StatusBytes", &settings.statusBytes);
  ReadSetting(key, L"PoolCount", &settings.poolCount);
  ReadSetting(key, L"PoolBytes", &settings.poolBytes);
  ReadSetting(key, L"LeaseBytes", &settings.leaseBytes);
  ReadSetting(key, L"RefuseHide", &settings.refuseHide);
  ReadSetting(key, L"UnterminatedName", &settings.unterminatedName);
  ReadSetting(key, L"NeverAnswers", &settings.neverAnswers);
  ZwClose(key);
}

static void WriteVisibility(const WCHAR* name, ULONG value) {
  UNICODE_STRING valueName;
  HANDLE key = OpenServiceSubkey(L"Visibility", KEY_SET_VALUE, TRUE);
  if (!key) return;
  RtlInitUnicodeString(&valueName, name);
  ZwSetValueKey(key, &valueName, 0, REG_DWORD, &value, sizeof value);
  ZwClose(key);
}

static void WriteEndpointVisibility(ULONG flow, ULONG cable, ULONG visible) {
  WCHAR name[3] = {flow ? L'C' : L'R', (WCHAR)(L'0' + cable), 0};
  WriteVisibility(name, visible);
}

static void ShowEverything(void) {
  ULONG flow, cable;
  for (flow = 0; flow < FLOWS; ++flow) {
    for (cable = 0; cable < CABLES; ++cable) WriteEndpointVisibility(flow, cable, 1);
  }
}

/* ---------------------------------------------------------------------------------------------- */

static NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR information) {
  irp->IoStatus.Status = status;
  irp->IoStatus.Information = information;
  IoCompleteRequest(irp, IO_NO_INCREMENT);
  return status;
}

static void NameEntry(PoolEntry* entry, ULONG index) {
  static const WCHAR prefix[] = L"VORN Cable ";
  ULONG i;
  for (i = 0; prefix[i]; ++i) entry->name[i] = prefix[i];
  entry->name[i++] = (WCHAR)(L'0' + entry->cable);
  entry->name[i++] = entry->flow ? L'C' : L'R';
  if (settings.unterminatedName == index + 1) {
    for (; i < NAME_UNITS; ++i) entry->name[i] = L'x';
  }
}

static NTSTATUS AnswerPool(void* output, ULONG size, ULONG_PTR* written) {
  PoolReply* reply = output;
  ULONG i;
  if (size < sizeof *reply) return STATUS_BUFFER_TOO_SMALL;
  RtlZeroMemory(reply, sizeof *reply);
  reply->count = settings.poolCount;
  for (i = 0; i < POOL_ENTRIES; ++i) {
    reply->entries[i].cable = i % CABLES;
    reply->entries[i].flow = i / CABLES;
    NameEntry(&reply->entries[i], i);
  }
  *written = settings.poolBytes < sizeof *reply ? settings.poolBytes : sizeof *reply;
  return STATUS_SUCCESS;
}

static NTSTATUS AnswerStatus(void* output, ULONG size, ULONG_PTR* written) {
  UCHAR* reply = output;
  if (size < 128) return STATUS_BUFFER_TOO_SMALL;
  RtlZeroMemory(reply, 128);
  *(ULONG*)reply = settings.loadedVersion;
  *(ULONG*)(reply + 104) = settings.lifecycleAbi;
  *(ULONG*)(reply + 108) = settings.sharedMemoryAbi;
  *(ULONG*)(reply + 112) = settings.capabilities;
  *(ULONG*)(reply + 120) = settings.revision;
  *written = settings.statusBytes < 128 ? settings.statusBytes : 128;
  return STATUS_SUCCESS;
}

static NTSTATUS AcquireLease(FILE_OBJECT* caller, void* output, ULONG inputSize, ULONG outputSize,
                             ULONG_PTR* written) {
  if (inputSize != 4) return STATUS_INVALID_PARAMETER;
  if (outputSize < 16) return STATUS_BUFFER_TOO_SMALL;
  if (leaseHolder && leaseHolder != caller) return STATUS_DEVICE_BUSY;
  leaseHolder = caller;
  RtlZeroMemory(output, 16);
  *written = settings.leaseBytes < 16 ? settings.leaseBytes : 16;
  return STATUS_SUCCESS;
}

static NTSTATUS SetVisibility(FILE_OBJECT* caller, const VisibilityRequest* request, ULONG size) {
  if (size != sizeof *request) return STATUS_INVALID_PARAMETER;
  if (leaseHolder != caller) return STATUS_ACCESS_DENIED;
  if (request->cable >= CABLES || request->flow >= FLOWS) return STATUS_INVALID_PARAMETER;
  if (!request->visible && settings.refuseHide == 1 + request->flow * CABLES + request->cable) {
    return STATUS_DEVICE_BUSY;
  }
  WriteEndpointVisibility(request->flow, request->cable, request->visible != 0);
  return STATUS_SUCCESS;
}

static NTSTATUS ReleaseLease(FILE_OBJECT* caller, ULONG inputSize) {
  if (inputSize != 4) return STATUS_INVALID_PARAMETER;
  if (leaseHolder == caller) leaseHolder = NULL;
  return STATUS_SUCCESS;
}

static NTSTATUS NTAPI DeviceControl(DEVICE_OBJECT* device, IRP* irp) {
  IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
  void* buffer = irp->AssociatedIrp.SystemBuffer;
  ULONG inputSize = stack->Parameters.DeviceIoControl.InputBufferLength;
  ULONG outputSize = stack->Parameters.DeviceIoControl.OutputBufferLength;
  ULONG code = stack->Parameters.DeviceIoControl.IoControlCode;
  ULONG_PTR written = 0;
  NTSTATUS status;
  (void)device;
  if (settings.neverAnswers == code) {
    IoMarkIrpPending(irp);
    return STATUS_PENDING;
  }
  switch (code) {
    case IOCTL_ENDPOINT_POOL:
      status = AnswerPool(buffer, outputSize, &written);
      break;
    case IOCTL_GET_STATUS:
      status = AnswerStatus(buffer, outputSize, &written);
      break;
    case IOCTL_ACQUIRE_LEASE:
      status = AcquireLease(stack->FileObject, buffer, inputSize, outputSize, &written);
      break;
    case IOCTL_SET_VISIBILITY:
      status = SetVisibility(stack->FileObject, buffer, inputSize);
      break;
    case IOCTL_RELEASE_LEASE:
      status = ReleaseLease(stack->FileObject, inputSize);
      break;
    default:
      status = STATUS_INVALID_DEVICE_REQUEST;
      break;
  }
  return Complete(irp, status, status >= 0 ? written : 0);
}

static NTSTATUS NTAPI Create(DEVICE_OBJECT* device, IRP* irp) {
  (void)device;
  return Complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI Close(DEVICE_OBJECT* device, IRP* irp) {
  IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
  (void)device;
  if (leaseHolder == stack->FileObject) leaseHolder = NULL;
  return Complete(irp, STATUS_SUCCESS, 0);
}

/* ---------------------------------------------------------------------------------------------- */

static void SetRunning(Extension* extension, BOOLEAN running) {
  extension->started = running;
  IoSetDeviceInterfaceState(&extension->interfaceName, running);
  if (running) ShowEverything();
  WriteVisibility(L"Running", running);
}

static NTSTATUS NTAPI Pnp(DEVICE_OBJECT* device, IRP* irp) {
  Extension* extension = device->DeviceExtension;
  IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
  NTSTATUS status;
  switch (stack->MinorFunction) {
    case IRP_MN_START_DEVICE:
      SetRunning(extension, TRUE);
      irp->IoStatus.Status = STATUS_SUCCESS;
      break;
    case IRP_MN_SURPRISE_REMOVAL:
      SetRunning(extension, FALSE);
      irp->IoStatus.Status = STATUS_SUCCESS;
      break;
    case IRP_MN_REMOVE_DEVICE: {
      DEVICE_OBJECT* lower = extension->lower;
      if (extension->started) SetRunning(extension, FALSE);
      irp->IoStatus.Status = STATUS_SUCCESS;
      IoSkipCurrentIrpStackLocation(irp);
      status = IoCallDriver(lower, irp);
      RtlFreeUnicodeString(&extension->interfaceName);
      IoDetachDevice(lower);
      IoDeleteDevice(device);
      return status;
    }
    default:
      break;
  }
  IoSkipCurrentIrpStackLocation(irp);
  return IoCallDriver(extension->lower, irp);
}

static NTSTATUS NTAPI AddDevice(DRIVER_OBJECT* driver, DEVICE_OBJECT* physical) {
  DEVICE_OBJECT* device;
  Extension* extension;
  NTSTATUS status =
      IoCreateDevice(driver, sizeof(Extension), NULL, FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
  if (status < 0) return status;
  extension = device->DeviceExtension;
  extension->started = FALSE;
  extension->lower = IoAttachDeviceToDeviceStack(device, physical);
  status = IoRegisterDeviceInterface(physical, &controlInterface, NULL, &extension->interfaceName);
  if (status < 0) {
    IoDetachDevice(extension->lower);
    IoDeleteDevice(device);
    return status;
  }
  device->Flags |= DO_BUFFERED_IO;
  device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
  return STATUS_SUCCESS;
}

static void NTAPI Unload(DRIVER_OBJECT* driver) { (void)driver; }

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registryPath) {
  serviceKey.Buffer = serviceKeyBuffer;
  serviceKey.MaximumLength = sizeof serviceKeyBuffer;
  RtlCopyUnicodeString(&serviceKey, registryPath);
  ReadSettings();
  driver->DriverExtension->AddDevice = AddDevice;
  driver->DriverUnload = Unload;
  driver->MajorFunction[IRP_MJ_CREATE] = Create;
  driver->MajorFunction[IRP_MJ_CLOSE] = Close;
  driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = DeviceControl;
  driver->MajorFunction[IRP_MJ_PNP] = Pnp;
  return STATUS_SUCCESS;
}
