<#
.SYNOPSIS
Installs or removes the print language monitor for KOVA Scrivelo and Ribbonet label printers.

.DESCRIPTION
Copies sc3xxmon.dll to the System32 folder, registers it with the print spooler, and ties it to those of the nine printer
drivers that are installed. Run it again after a new driver has been installed. Settings in the registry and logs are left
as they are, also by -Uninstall.

Needs an elevated 64-bit PowerShell 5.1 or later.

.PARAMETER Uninstall
Unties the drivers, removes the monitor from the spooler, and deletes the file.

.PARAMETER RestartSpooler
Stops the print spooler before files are changed, and starts it again afterwards. Needed when the spooler holds the file,
and for a change in the drivers to take effect at once. Jobs that are printing start again.

.PARAMETER Library
The file to install. Default: sc3xxmon.dll beside this script.

.EXAMPLE
.\Install-Sc3xxMonitor.ps1 -WhatIf
Says what would be done, and does nothing.

.EXAMPLE
.\Install-Sc3xxMonitor.ps1 -RestartSpooler

.EXAMPLE
.\Install-Sc3xxMonitor.ps1 -Uninstall -RestartSpooler
#>
[CmdletBinding(SupportsShouldProcess = $true, ConfirmImpact = 'Medium')]
param(
  [switch]$Uninstall,
  [switch]$RestartSpooler,
  [string]$Library = (Join-Path $PSScriptRoot 'sc3xxmon.dll')
)

Set-StrictMode -Version 2.0
$ErrorActionPreference = 'Stop'

$MonitorName = 'KOVA SC3xx Language Monitor'
$Environment = 'Windows x64'
$FileName = 'sc3xxmon.dll'
$Installed = Join-Path ([Environment]::SystemDirectory) $FileName
$DriversKey = "HKLM:\SYSTEM\CurrentControlSet\Control\Print\Environments\$Environment\Drivers\Version-3"
# What a driver was tied to before, for -Uninstall.
$MemoryKey = 'HKLM:\SOFTWARE\KOVA\Installer'
$DriverNames = @(
  'KOVA Scrivelo 310',
  'KOVA Scrivelo 310 Swift',
  'KOVA Scrivelo 3WD',
  'KOVA Scrivelo 310 Dual Swift',
  'KOVA Scrivelo 310 Plus',
  'KOVA Scrivelo 310 Dual Plus',
  'KOVA Scrivelo 3WD Plus',
  'KOVA Ribbonet Office 410',
  'KOVA Ribbonet Office 430'
)

# Results of the spooler that have a meaning of their own here.
$AlreadyInstalled = 3006
$UnknownMonitor = 3000
$MonitorInUse = 3008

Add-Type -TypeDefinition @'
using System.ComponentModel;
using System.Runtime.InteropServices;

public static class Sc3xxSpooler {
  [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Unicode)]
  private struct MonitorInfo2 {
    public string Name;
    public string Environment;
    public string FileName;
  }

  [DllImport("winspool.drv", EntryPoint = "AddMonitorW", CharSet = CharSet.Unicode, SetLastError = true)]
  private static extern bool AddMonitor(string server, uint level, ref MonitorInfo2 info);

  [DllImport("winspool.drv", EntryPoint = "DeleteMonitorW", CharSet = CharSet.Unicode, SetLastError = true)]
  private static extern bool DeleteMonitor(string server, string environment, string name);

  // 0, or the system's error code.
  public static int Add(string name, string environment, string fileName) {
    MonitorInfo2 info = new MonitorInfo2 { Name = name, Environment = environment, FileName = fileName };
    return AddMonitor(null, 2, ref info) ? 0 : Marshal.GetLastWin32Error();
  }

  public static int Delete(string name, string environment) {
    return DeleteMonitor(null, environment, name) ? 0 : Marshal.GetLastWin32Error();
  }

  public static string Text(int code) {
    return new Win32Exception(code).Message;
  }
}
'@

function Assert-Machine {
  if (-not [Environment]::Is64BitOperatingSystem) {
    throw 'This machine runs a 32-bit Windows. The monitor is for 64-bit Windows alone.'
  }
  if (-not [Environment]::Is64BitProcess) {
    throw 'This is a 32-bit PowerShell, whose System32 folder is another one. Start the 64-bit PowerShell and try again.'
  }
  $user = New-Object Security.Principal.WindowsPrincipal([Security.Principal.WindowsIdentity]::GetCurrent())
  $elevated = $user.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)
  if (-not $elevated -and -not $WhatIfPreference) {
    throw 'Administrator rights are needed. Right-click PowerShell, choose "Run as administrator", and try again.'
  }
}

# A 64-bit library, and not whatever lies there under the name.
function Assert-Library {
  if (-not (Test-Path -LiteralPath $Library -PathType Leaf)) {
    throw "There is no file '$Library'. Unpack the whole zip, or name the file with -Library."
  }
  $bytes = [IO.File]::ReadAllBytes((Resolve-Path -LiteralPath $Library).ProviderPath)
  $head = if ($bytes.Length -gt 0x40) { [BitConverter]::ToInt32($bytes, 0x3C) } else { -1 }
  if ($head -lt 0 -or $head + 6 -gt $bytes.Length -or [BitConverter]::ToUInt16($bytes, $head + 4) -ne 0x8664) {
    throw "'$Library' is no 64-bit library."
  }
}

# Runs a change of the file, and turns "in use" into words.
function Edit-File([scriptblock]$Change) {
  try {
    & $Change
  } catch [IO.IOException], [UnauthorizedAccessException] {
    throw ("The file '$Installed' can't be changed: $($_.Exception.Message) " +
      'The print spooler may hold it: run the script again with -RestartSpooler.')
  }
}

function Copy-Library {
  if (Test-Path -LiteralPath $Installed) {
    $same = (Get-FileHash -LiteralPath $Installed).Hash -eq (Get-FileHash -LiteralPath $Library).Hash
    if ($same) {
      Write-Verbose "'$Installed' is up to date."
      return
    }
  }
  if ($PSCmdlet.ShouldProcess($Installed, "Copy $Library")) {
    Edit-File { [IO.File]::Copy((Resolve-Path -LiteralPath $Library).ProviderPath, $Installed, $true) }
  }
}

function Remove-Library {
  if (-not (Test-Path -LiteralPath $Installed)) {
    Write-Verbose "'$Installed' is gone already."
    return
  }
  if ($PSCmdlet.ShouldProcess($Installed, 'Delete')) {
    Edit-File { [IO.File]::Delete($Installed) }
  }
}

function Register-Monitor {
  if (-not $PSCmdlet.ShouldProcess($MonitorName, 'Register with the print spooler')) {
    return
  }
  $result = [Sc3xxSpooler]::Add($MonitorName, $Environment, $FileName)
  if ($result -eq $AlreadyInstalled) {
    Write-Verbose "'$MonitorName' is registered already."
  } elseif ($result -ne 0) {
    throw "The print spooler refused the monitor: $([Sc3xxSpooler]::Text($result)) (error $result)."
  }
}

function Unregister-Monitor {
  if (-not $PSCmdlet.ShouldProcess($MonitorName, 'Remove from the print spooler')) {
    return
  }
  $result = [Sc3xxSpooler]::Delete($MonitorName, $Environment)
  if ($result -eq $UnknownMonitor) {
    Write-Verbose "'$MonitorName' isn't registered."
  } elseif ($result -eq $MonitorInUse) {
    throw "A driver still uses '$MonitorName'. Run the script again with -RestartSpooler."
  } elseif ($result -ne 0) {
    throw "The print spooler keeps the monitor: $([Sc3xxSpooler]::Text($result)) (error $result)."
  }
}

# The named value of a key, or an empty text.
function Get-Text([string]$Key, [string]$Name) {
  if (-not (Test-Path -LiteralPath $Key)) {
    return ''
  }
  $value = (Get-Item -LiteralPath $Key).GetValue($Name)
  if ($null -eq $value) { return '' }
  return [string]$value
}

function Get-InstalledDrivers {
  $DriverNames | Where-Object { Test-Path -LiteralPath "$DriversKey\$_" }
}

function Connect-Drivers {
  $drivers = @(Get-InstalledDrivers)
  if ($drivers.Count -eq 0) {
    Write-Warning 'None of the printer drivers is installed yet. Run the script again when they are.'
  }
  foreach ($driver in $drivers) {
    $key = "$DriversKey\$driver"
    $before = Get-Text $key 'Monitor'
    if ($before -eq $MonitorName) {
      Write-Verbose "'$driver' is tied to the monitor already."
      continue
    }
    if ($PSCmdlet.ShouldProcess($driver, "Tie to $MonitorName")) {
      if (-not (Test-Path -LiteralPath $MemoryKey)) {
        New-Item -Path $MemoryKey -Force | Out-Null
      }
      Set-ItemProperty -LiteralPath $MemoryKey -Name $driver -Value $before
      Set-ItemProperty -LiteralPath $key -Name 'Monitor' -Value $MonitorName
    }
  }
}

function Disconnect-Drivers {
  foreach ($driver in @(Get-InstalledDrivers)) {
    $key = "$DriversKey\$driver"
    if ((Get-Text $key 'Monitor') -ne $MonitorName) {
      continue
    }
    if ($PSCmdlet.ShouldProcess($driver, "Untie from $MonitorName")) {
      Set-ItemProperty -LiteralPath $key -Name 'Monitor' -Value (Get-Text $MemoryKey $driver)
    }
  }
  if ((Test-Path -LiteralPath $MemoryKey) -and $PSCmdlet.ShouldProcess($MemoryKey, 'Delete')) {
    Remove-Item -LiteralPath $MemoryKey -Recurse
  }
}

function Stop-PrintSpooler {
  if ($RestartSpooler -and $PSCmdlet.ShouldProcess('Print Spooler', 'Stop')) {
    Stop-Service -Name Spooler -Force
  }
}

function Start-PrintSpooler {
  if ($RestartSpooler -and $PSCmdlet.ShouldProcess('Print Spooler', 'Start')) {
    Start-Service -Name Spooler
  }
}

# The spooler has to run to register a monitor, and must not run while its file is replaced.
function Install-Monitor {
  Assert-Library
  Stop-PrintSpooler
  try {
    Copy-Library
    Connect-Drivers
  } finally {
    Start-PrintSpooler
  }
  Register-Monitor
}

# A monitor can be removed only while no driver that the spooler has read is tied to it.
function Uninstall-Monitor {
  Stop-PrintSpooler
  try {
    Disconnect-Drivers
  } finally {
    Start-PrintSpooler
  }
  Unregister-Monitor
  Stop-PrintSpooler
  try {
    Remove-Library
  } finally {
    Start-PrintSpooler
  }
}

Assert-Machine
if ($Uninstall) {
  Uninstall-Monitor
} else {
  Install-Monitor
}
if (-not $WhatIfPreference) {
  if ($Uninstall) { Write-Host "'$MonitorName' is removed." } else { Write-Host "'$MonitorName' is installed." }
  if (-not $RestartSpooler) {
    Write-Host 'Changes in the drivers take effect when the print spooler starts the next time.'
  }
}
