# SPDX-License-Identifier: 0BSD
#
# The errands of ../cmd/vorn-setup.cmd for whoever deploys with PowerShell 5.1 or later.
#
#   Import-Module .\VornAudio.psm1
#   exit (Install-VornAudio -Version 26.9.1.1)
#
# Each command returns 0 (done), 3010 (done after a restart), 1603 (failed) or 1618 (busy, try again
# later). The folder of the product is that of the script: vorn_devnode.exe, VERSION\driver with the
# package, and current.txt.
#
# This module has not been run: there is no PowerShell where it was written. It does what the script
# does, which has been run.
#Requires -Version 5.1
#Requires -RunAsAdministrator

Set-StrictMode -Version Latest
$ErrorActionPreference = 'Stop'

$script:Home_ = Join-Path $env:ProgramFiles 'VORN'
$script:State = Join-Path $script:Home_ '.vorn-driver-activation-state'
$script:CurrentFile = Join-Path $script:Home_ 'current.txt'
$script:Task = 'VORN Audio removal'

function Get-Inf([string] $Version) {
    Join-Path $script:Home_ "$Version\driver\vorn_audio.inf"
}

# The version that was installed and proven, or nothing.
function Get-CurrentVersion {
    if (Test-Path $script:CurrentFile) { (Get-Content $script:CurrentFile -TotalCount 1).Trim() }
}

# Runs the program; returns its status and lines. A run can be silent for minutes.
function Invoke-Tool([string[]] $Arguments) {
    $out = Join-Path $script:Home_ 'last-run.txt'
    $err = Join-Path $script:Home_ 'last-run-errors.txt'
    $quoted = $Arguments | ForEach-Object { if ($_ -match '\s') { '"' + $_ + '"' } else { $_ } }
    Write-Verbose "vorn_devnode $quoted"
    $process = Start-Process -FilePath (Join-Path $script:Home_ 'vorn_devnode.exe') `
        -ArgumentList $quoted -NoNewWindow -Wait -PassThru `
        -RedirectStandardOutput $out -RedirectStandardError $err
    $lines = @(Get-Content $out -Encoding UTF8) + @(Get-Content $err -Encoding UTF8)
    $lines | Write-Verbose
    Write-Verbose "status $($process.ExitCode)"
    [pscustomobject]@{ Status = $process.ExitCode; Lines = $lines }
}

function Invoke-Audit([string] $Version) {
    (Invoke-Tool 'audit-current', (Get-Inf $Version)).Status
}

# One install; adds whether the device may run another driver now, and whether there was none before.
function Invoke-BindOnce([string] $Version, [switch] $Rollback) {
    $arguments = @('install', (Get-Inf $Version), $script:State)
    if ($Rollback) { $arguments += '--rollback' }
    $run = Invoke-Tool $arguments
    $bound = $run.Lines -contains 'vorn_devnode: persisted protected pre-bind activation state' -and
        $run.Lines -notcontains 'vorn_devnode: Root\VornAudio already runs the target package; device left untouched' -and
        $run.Lines -notcontains 'vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind' -and
        $run.Status -notin 3..9
    $fresh = $run.Lines -contains 'vorn_devnode: Root\VornAudio installed'
    $run | Add-Member Bound $bound
    $run | Add-Member Fresh $fresh -PassThru
}

function Remove-State {
    Remove-Item $script:State -Force -ErrorAction SilentlyContinue
}

function Invoke-Bind([string] $Version, [switch] $Rollback) {
    $run = Invoke-BindOnce $Version -Rollback:$Rollback
    if ($run.Status -ne 9) { return $run }
    # The journal of an earlier run is in the way: that run was killed, or the device was removed or
    # changed by other means. Show what it may have left hidden, and look what runs before the journal goes.
    $null = Invoke-Tool 'resume-endpoints'
    $current = Get-CurrentVersion
    if (-not $current) {
        if ((Invoke-Tool 'audit-catalog').Status -ne 12) { return $run }
    }
    elseif ((Invoke-Audit $current) -eq 11 -and $current -ne $Version) {
        # Something else runs, or nothing can be seen here. Go back to the installed version first.
        if ((Invoke-Tool 'audit-catalog').Status -ne 0) { return $run }
        Remove-State
        $null = Invoke-BindOnce $current -Rollback
        if ((Invoke-Audit $current) -ne 0) { return $run }
    }
    Remove-State
    if (Test-Path $script:State) { return $run }
    if (-not $current) {
        # This clears the half-made device of a run that was killed.
        $removal = Invoke-Tool 'remove', (Get-Inf $Version)
        if ($removal.Status -ne 0) { return $run }
    }
    Invoke-BindOnce $Version -Rollback:$Rollback
}

# After 10 the package is still there, and the removal must run again after the restart.
function Invoke-Remove([string] $Version) {
    $run = Invoke-Tool 'remove', (Get-Inf $Version)
    if ($run.Status -eq 10) {
        $module = $PSCommandPath -replace "'", "''"
        $action = New-ScheduledTaskAction -Execute 'powershell.exe' -Argument `
            "-NoProfile -ExecutionPolicy Bypass -Command `"Import-Module '$module'; exit (Uninstall-VornAudio)`""
        $null = Register-ScheduledTask -TaskName $script:Task -Action $action -User 'SYSTEM' -Force `
            -Trigger (New-ScheduledTaskTrigger -AtStartup)
    }
    $run
}

function Remove-Task {
    Unregister-ScheduledTask -TaskName $script:Task -Confirm:$false -ErrorAction SilentlyContinue
}

# Two runs at a time would make two devices: the named mutex keeps other installers out.
function Invoke-Alone([scriptblock] $Errand) {
    $made = $false
    $mutex = [System.Threading.Mutex]::new($false, 'Global\VornDevnode', [ref] $made)
    try {
        if (-not $made) { return 1618 }
        & $Errand
    }
    finally {
        $mutex.Dispose()
    }
}

function Install-Alone([string] $Version) {
    # A remote session with redirected sound sees no endpoints of this machine: nothing could be proven.
    if ($env:SESSIONNAME -like 'RDP-*') { Write-Warning 'Run this at the console or as a service.'; return 1603 }
    if ($env:PROCESSOR_IDENTIFIER -like 'ARM*') { Write-Warning 'There is no driver for ARM64.'; return 1603 }
    $current = Get-CurrentVersion
    Remove-Task
    if ($current -and (Invoke-Tool 'audit-catalog').Status -eq 11) {
        # Where the endpoints cannot be seen, nothing can be proven. A run that was killed leaves them hidden.
        $null = Invoke-Tool 'resume-endpoints'
        if ((Invoke-Tool 'audit-catalog').Status -eq 11) { return 1603 }
    }
    $run = Invoke-Bind $Version
    if ($run.Bound -and $run.Status -notin 0, 11, 12, 15, 16) {
        # It does not end so by itself: it was killed.
        $null = Invoke-Tool 'resume-endpoints'
        $run = Invoke-Bind $Version
    }
    if ($run.Status -eq 0) {
        Set-Content $script:CurrentFile $Version
        return 0
    }
    # Most failures leave the device as it was. Then there is nothing to undo, and doing it would harm.
    if (-not $run.Bound) { return 1603 }
    if (-not $current) {
        # Only a device that this run made is taken away.
        if ($run.Fresh) { $null = Invoke-Remove $Version }
        return 1603
    }
    if ($current -eq $Version) { return 1603 }
    # Ask whether the version before still runs, before making it run again.
    $audit = Invoke-Audit $current
    Remove-State
    if ($audit -eq 0) { return 1603 }
    $back = Invoke-Bind $current -Rollback
    if ($back.Status -eq 10) { Write-Warning 'The version before runs again after a restart.' }
    # A rollback can succeed and not be provable: the endpoints were not all there when it began.
    if ($back.Status -notin 0, 10) { $null = Invoke-Audit $current }
    1603
}

function Repair-Alone {
    $current = Get-CurrentVersion
    if (-not $current) { return 1603 }
    if ((Invoke-Audit $current) -eq 0) { return 0 }
    $null = Invoke-Tool 'resume-endpoints'  # a run that was killed leaves endpoints hidden
    if ((Invoke-Bind $current).Status -eq 0) { 0 } else { 1603 }
}

function Uninstall-Alone {
    # The version that runs goes first. Every earlier one left a package in the driver store.
    $current = Get-CurrentVersion
    $earlier = Get-ChildItem $script:Home_ -Directory | ForEach-Object Name |
        Where-Object { $_ -ne $current -and (Test-Path (Get-Inf $_)) }
    foreach ($version in @($current) + @($earlier) | Where-Object { $_ }) {
        $run = Invoke-Remove $version
        switch ($run.Status) {
            0 { continue }
            10 { return 3010 }
            17 { return 1618 }
            default { return 1603 }
        }
    }
    Remove-Task
    Remove-Item $script:State, $script:CurrentFile -Force -ErrorAction SilentlyContinue
    0
}

<#
.SYNOPSIS
Installs a version, or updates to it and falls back to the version before.
#>
function Install-VornAudio {
    [CmdletBinding()]
    param([Parameter(Mandatory)] [string] $Version)
    Invoke-Alone { Install-Alone $Version }
}

<#
.SYNOPSIS
Proves the installed version, and binds it again if it must.
#>
function Repair-VornAudio {
    [CmdletBinding()]
    param()
    Invoke-Alone { Repair-Alone }
}

<#
.SYNOPSIS
Removes the device and the packages of all versions.
#>
function Uninstall-VornAudio {
    [CmdletBinding()]
    param()
    Invoke-Alone { Uninstall-Alone }
}

Export-ModuleMember -Function Install-VornAudio, Repair-VornAudio, Uninstall-VornAudio
