# The first run on a real Windows: the contract suite, then the questions that only Windows can
# answer. Run it in an elevated PowerShell; docs/windows.md says what to look at.
#
#   first-run.ps1 -Contract PATH\vorn_contract.exe [-Inf PATH\vorn_audio.inf] [-Report PATH]
#
# The suite creates and removes devices without a driver (hardware id Root\VornContract), the key
# HKLM\Software\VornContract and a temporary folder. The questions change nothing.
param(
  [Parameter(Mandatory = $true)][string]$Contract,
  [string]$Inf,
  [string]$Report = "first-run.txt"
)
$ErrorActionPreference = 'Stop'

$identity = [Security.Principal.WindowsPrincipal][Security.Principal.WindowsIdentity]::GetCurrent()
if (-not $identity.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
  Write-Error 'Run this in an elevated PowerShell.'
}

function Write-Step([string]$text) {
  "== $text" | Tee-Object -FilePath $Report -Append
}

# What an aborted suite leaves behind.
function Get-LeftOvers {
  Get-CimInstance Win32_PnPEntity |
    Where-Object { $_.HardwareID -contains 'Root\VornContract' } |
    ForEach-Object { "device $($_.DeviceID)" }
  if (Test-Path 'HKLM:\Software\VornContract') { 'key HKLM\Software\VornContract' }
}

# What the questions must not change.
function Get-Inventory {
  Get-ChildItem "$env:windir\INF" -Filter '*.inf' | ForEach-Object { "$($_.Name) $($_.Length)" }
  Get-CimInstance Win32_PnPEntity | ForEach-Object { "$($_.DeviceID) $($_.ConfigManagerErrorCode)" }
}

Set-Content -Path $Report -Value "first run, $(Get-Date -Format o)"
$version = Get-ItemProperty 'HKLM:\Software\Microsoft\Windows NT\CurrentVersion'
Write-Step "Windows $($version.DisplayVersion) build $($version.CurrentBuildNumber).$($version.UBR)"

Write-Step 'Contract suite'
& $Contract | Tee-Object -FilePath $Report -Append
$suite = $LASTEXITCODE
$left = @(Get-LeftOvers)
if ($left.Count -ne 0) { Write-Step "left behind: $($left -join ', ')" }

Write-Step 'Questions'
$before = Get-Inventory
if ($Inf) {
  & $Contract --questions (Resolve-Path $Inf).Path | Tee-Object -FilePath $Report -Append
} else {
  & $Contract --questions | Tee-Object -FilePath $Report -Append
}
$questions = $LASTEXITCODE
$difference = Compare-Object $before (Get-Inventory)
if ($difference) {
  Write-Step 'The questions changed something:'
  $difference | Out-String | Tee-Object -FilePath $Report -Append
}

Write-Step "suite status $suite, questions status $questions, report in $Report"
if ($suite -ne 0 -or $left.Count -ne 0 -or $difference) { exit 1 }
exit 0
