# The first run on a real Windows: the contract suite, then the questions that only Windows can
# answer. Run it in an elevated PowerShell; docs/windows.md says what becomes of its files.
#
#   first-run.ps1 -Contract PATH\vorn_contract.exe [-Inf PATH\vorn_audio.inf] [-Signed]
#                 [-Report PATH] [-Answers PATH] [-AllowRedirectedAudio]
#
#   -Inf      the INF of a package, which is read; without it one of Windows' own is
#   -Signed   that package may also be bound to a device for a while (it must be signed, and trusted)
#   -Answers  what tools/judge-first-run reads: one JSON object a line, UTF-8
#
# The suite and the questions create and remove devices (hardware id Root\VornContract; with -Signed
# also Root\VornAudio), the key HKLM\Software\VornContract, a temporary folder and one INF without a
# catalog in the Windows INF folder, and stop the audio services for a moment. What is left at the end
# is listed.
#
# Everything here works in Windows PowerShell 5.1 and in PowerShell 7.
param(
  [Parameter(Mandatory = $true)][string]$Contract,
  [string]$Inf,
  [switch]$Signed,
  [string]$Report = 'first-run.txt',
  [string]$Answers = 'first-run.jsonl',
  [switch]$AllowRedirectedAudio
)
$ErrorActionPreference = 'Stop'

# One encoding everywhere: UTF-8 without a mark, and so do the programs of the suite print.
$Utf8 = New-Object System.Text.UTF8Encoding($false)
[Console]::OutputEncoding = $Utf8
$OutputEncoding = $Utf8

# Files are named from the folder where the script was called, which .NET does not know.
function Get-FullPath([string]$path) {
  return $ExecutionContext.SessionState.Path.GetUnresolvedProviderPathFromPSPath($path)
}
$Report = Get-FullPath $Report
$Answers = Get-FullPath $Answers
$Contract = Get-FullPath $Contract

function Write-Line([string]$text) {
  Write-Host $text
  [System.IO.File]::AppendAllText($Report, $text + "`r`n", $Utf8)
}

function Write-Answer([hashtable]$record) {
  $line = ConvertTo-Json -InputObject $record -Compress
  [System.IO.File]::AppendAllText($Answers, $line + "`n", $Utf8)
}

# Runs one step; what goes wrong in it costs that step alone.
function Invoke-Step([string]$name, [scriptblock]$step) {
  Write-Line "== $name"
  try {
    & $step
    Write-Answer @{ kind = 'step'; name = $name; result = 'done'; detail = '' }
  } catch {
    Write-Line "FAIL $name - $_"
    Write-Answer @{ kind = 'step'; name = $name; result = 'failed'; detail = "$_" }
    $script:Failed = $true
  }
}

# Runs the suite's program; its lines go to the report, its status to $script:Status.
function Invoke-Contract([string[]]$arguments) {
  $all = @('--record', $Answers) + $arguments
  & $Contract $all | ForEach-Object { Write-Line $_ }
  $script:Status = $LASTEXITCODE
}

# Lists what there is of a kind. A kind that cannot be listed is a line of its own.
function Get-Kind([string]$kind, [scriptblock]$list) {
  try {
    & $list | ForEach-Object { "$kind $_" }
  } catch {
    "$kind cannot be listed: $_"
  }
}

# Devices from the registry: present or not, with or without a driver.
function Get-RootDevices {
  $roots = 'HKLM:\SYSTEM\CurrentControlSet\Enum\ROOT'
  Get-ChildItem $roots -ErrorAction SilentlyContinue |
    ForEach-Object { Get-ChildItem -LiteralPath $_.PSPath -ErrorAction SilentlyContinue } |
    ForEach-Object {
      $ids = (Get-ItemProperty -LiteralPath $_.PSPath -ErrorAction SilentlyContinue).HardwareID
      "$($_.PSParentPath | Split-Path -Leaf)\$($_.PSChildName) $ids"
    }
}

function Get-TemporaryFolders {
  foreach ($folder in @($env:TEMP, "$env:windir\Temp")) {
    Get-ChildItem -LiteralPath $folder -Force -ErrorAction SilentlyContinue |
      Where-Object { $_.Name -like 'VORN-input-*' -or $_.Name -like 'vorn_contract_*' } |
      ForEach-Object { $_.FullName }
  }
}

function Get-EndpointRecords {
  $audio = 'HKLM:\SOFTWARE\Microsoft\Windows\CurrentVersion\MMDevices\Audio'
  foreach ($flow in @('Render', 'Capture')) {
    Get-ChildItem "$audio\$flow" -ErrorAction SilentlyContinue |
      ForEach-Object {
        $state = (Get-ItemProperty -LiteralPath $_.PSPath -ErrorAction SilentlyContinue).DeviceState
        "$flow\$($_.PSChildName) $state"
      }
  }
}

# What the run must leave as it is.
function Get-Inventory {
  Get-Kind 'INF' { Get-ChildItem "$env:windir\INF\*.inf" | ForEach-Object { "$($_.Name) $($_.Length)" } }
  Get-Kind 'package' { Get-ChildItem "$env:windir\System32\DriverStore\FileRepository" | ForEach-Object { $_.Name } }
  Get-Kind 'device' { Get-RootDevices }
  Get-Kind 'endpoint record' { Get-EndpointRecords }
  Get-Kind 'folder' { Get-TemporaryFolders }
  Get-Kind 'service' { Get-Service AudioEndpointBuilder, Audiosrv | ForEach-Object { "$($_.Name) $($_.Status)" } }
}

# What an aborted suite leaves behind, now or from an earlier run.
function Get-LeftOvers {
  Get-RootDevices | Where-Object { $_ -like '*Root\VornContract*' } | ForEach-Object { "device $_" }
  if (Test-Path 'HKLM:\Software\VornContract') { 'key HKLM\Software\VornContract' }
  Get-TemporaryFolders | ForEach-Object { "folder $_" }
  Get-ChildItem "$env:windir\INF\oem98017.*" -ErrorAction SilentlyContinue | ForEach-Object { "file $($_.FullName)" }
  Get-ChildItem "$env:windir\System32\DriverStore\FileRepository\vorn_contract.inf_*" -ErrorAction SilentlyContinue |
    ForEach-Object { "package $($_.Name)" }
}

$identity = [Security.Principal.WindowsPrincipal][Security.Principal.WindowsIdentity]::GetCurrent()
if (-not $identity.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
  Write-Host 'Run this in an elevated PowerShell.'
  exit 2
}

$Failed = $false
$Status = -1
[System.IO.File]::WriteAllText($Report, "first run, $(Get-Date -Format o)`r`n", $Utf8)
[System.IO.File]::WriteAllText($Answers, '', $Utf8)

# A session of Remote Desktop (and the enhanced session of a virtual machine is one) has the audio of
# another machine: it shows none of this machine's endpoints.
Add-Type -AssemblyName System.Windows.Forms
$remote = [System.Windows.Forms.SystemInformation]::TerminalServerSession
$session = [System.Diagnostics.Process]::GetCurrentProcess().SessionId
Write-Line "session $session ($env:SESSIONNAME), remote: $remote"
Write-Answer @{ kind = 'session'; id = "$session"; name = "$env:SESSIONNAME"; remote = "$remote" }
if ($remote -and -not $AllowRedirectedAudio) {
  Write-Line 'This session is remote, so its audio is redirected: questions about endpoints would be'
  Write-Line 'answered for another machine. Run this at the console, or with -AllowRedirectedAudio.'
  exit 2
}

Invoke-Step 'Windows' {
  $version = Get-ItemProperty 'HKLM:\SOFTWARE\Microsoft\Windows NT\CurrentVersion'
  $text = "$($version.DisplayVersion) build $($version.CurrentBuildNumber).$($version.UBR)"
  Write-Line $text
  Write-Answer @{ kind = 'machine'; windows = $text }
}

$before = @(Get-Inventory)
$earlier = @(Get-LeftOvers)
foreach ($what in $earlier) { Write-Line "from an earlier run: $what" }

$suite = -1
Invoke-Step 'Contract suite' {
  Invoke-Contract @()
  $script:suite = $script:Status
}

$questions = -1
Invoke-Step 'Questions' {
  $arguments = @('--questions')
  if ($Signed) { $arguments += '--signed' }
  if ($Inf) { $arguments += (Get-FullPath $Inf) }
  Invoke-Contract $arguments
  $script:questions = $script:Status
}

$changes = 0
Invoke-Step 'What is left' {
  foreach ($what in @(Get-LeftOvers)) {
    if ($earlier -contains $what) { continue }
    Write-Line "left: $what"
    Write-Answer @{ kind = 'left'; what = "$what" }
    $script:changes += 1
  }
  foreach ($difference in @(Compare-Object $before @(Get-Inventory))) {
    $what = "$($difference.SideIndicator) $($difference.InputObject)"
    # Windows keeps the records of endpoints whose device is gone; the package made these.
    if ($Signed -and $what -like '=> endpoint record *') {
      Write-Line "kept by Windows: $what"
      continue
    }
    Write-Line "changed: $what"
    Write-Answer @{ kind = 'changed'; what = $what }
    $script:changes += 1
  }
}

Write-Line "suite status $suite, questions status $questions, $changes changes"
Write-Line "report in $Report, answers for tools/judge-first-run in $Answers"
Write-Answer @{ kind = 'end'; suite = "$suite"; questions = "$questions" }
if ($Failed -or $suite -ne 0 -or $questions -ne 0 -or $changes -ne 0) { exit 1 }
exit 0
